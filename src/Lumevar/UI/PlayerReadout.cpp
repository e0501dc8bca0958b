#include "Lumevar/UI/PlayerReadout.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/UI/Icons.h"
#include "Support/Task.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <cmath>

PlayerReadout::PlayerReadout(MainViewModel &model, QWidget *parent)
    : QWidget(parent), m_model(model), m_previous(new QToolButton(this)), m_playPause(new QToolButton(this)),
      m_next(new QToolButton(this)), m_label(new QLabel(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 2, 6, 2);
    m_previous->setIcon(Icons::symbol(QStringLiteral("backward.fill")));
    m_previous->setToolTip(QStringLiteral("Previous Track"));
    m_next->setIcon(Icons::symbol(QStringLiteral("forward.fill")));
    m_next->setToolTip(QStringLiteral("Next Track"));
    for (QToolButton *button : {m_previous, m_playPause, m_next}) {
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(button);
    }
    m_label->setTextFormat(Qt::PlainText);
    m_label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    layout->addWidget(m_label, 1);

    connect(m_previous, &QToolButton::clicked, this, [this] { detach(m_model.skipToPrevious()); });
    connect(m_next, &QToolButton::clicked, this, [this] { detach(m_model.skipToNext()); });
    connect(m_playPause, &QToolButton::clicked, this, [this] {
        detach(m_model._isPlaying() ? m_model.pausePlayback() : m_model.resumePlayback());
    });

    const auto changed = [this] { refresh(); };
    observeEach(m_tokens, changed, m_model._playingTitle, m_model._playingSubtitle, m_model._isPlaying,
                m_model._isStopped, m_model._currentPlayingTime, m_model._playingDuration);
    refresh();
}

QString PlayerReadout::text() const { return m_label->text(); }

QString PlayerReadout::formatTime(double seconds)
{
    const qint64 total = std::isfinite(seconds) && seconds > 0 ? qint64(seconds) : 0;
    const qint64 hours = total / 3600, minutes = (total % 3600) / 60, rest = total % 60;
    if (hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(rest, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(minutes).arg(rest, 2, 10, QLatin1Char('0'));
}

QString PlayerReadout::describe(const MainViewModel &model)
{
    const std::optional<QString> &title = model._playingTitle();
    if (!title)
        return QStringLiteral("Not Playing");
    QString line = *title;
    if (const std::optional<QString> &subtitle = model._playingSubtitle(); subtitle && !subtitle->isEmpty())
        line += QStringLiteral(" — ") + *subtitle;
    if (model._playingDuration() > 0)
        line += QStringLiteral("   %1 / %2").arg(formatTime(model._currentPlayingTime()), formatTime(model._playingDuration()));
    return line;
}

void PlayerReadout::refresh()
{
    const bool playing = m_model._isPlaying();
    m_playPause->setIcon(Icons::symbol(playing ? QStringLiteral("pause.fill") : QStringLiteral("play.fill")));
    m_playPause->setToolTip(playing ? QStringLiteral("Pause") : QStringLiteral("Play"));
    const bool active = !m_model._isStopped();
    m_previous->setEnabled(active);
    m_playPause->setEnabled(active);
    m_next->setEnabled(active);
    m_label->setText(describe(m_model));
}
