#include "Lumevar/UI/Player/PlayerView.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/UI/Player/PlayerButton.h"
#include "Lumevar/UI/Player/PlayerCentreBlock.h"
#include "Lumevar/UI/Player/UpNextView.h"
#include "Support/Task.h"

#include <QHBoxLayout>

PlayerView::PlayerView(MainViewModel &model, QWidget *parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("playerView"));
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(sidePadding, 0, sidePadding, 0);
    row->setSpacing(spacing);

    m_previous = new PlayerButton(QStringLiteral("backward.fill"), QStringLiteral("Previous Track"), this);
    m_playPause = new PlayerButton(QStringLiteral("play.fill"), QStringLiteral("Play"), this);
    m_next = new PlayerButton(QStringLiteral("forward.fill"), QStringLiteral("Next Track"), this);
    m_centre = new PlayerCentreBlock(model, this);
    m_repeat = new PlayerButton(QStringLiteral("repeat"), QStringLiteral("Repeat"), this);
    m_shuffle = new PlayerButton(QStringLiteral("shuffle"), QStringLiteral("Shuffle"), this);
    m_upNext = new PlayerButton(QStringLiteral("list.bullet"), QStringLiteral("Up Next"), this);
    for (QWidget *widget : {static_cast<QWidget *>(m_previous), static_cast<QWidget *>(m_playPause),
                            static_cast<QWidget *>(m_next)})
        row->addWidget(widget);
    // The centre block keeps 4 points from its neighbours on top of the row's spacing.
    row->addSpacing(4);
    row->addWidget(m_centre, 1);
    row->addSpacing(4);
    for (QWidget *widget : {static_cast<QWidget *>(m_repeat), static_cast<QWidget *>(m_shuffle),
                            static_cast<QWidget *>(m_upNext)})
        row->addWidget(widget);
    m_playPause->setObjectName(QStringLiteral("playPause"));
    m_repeat->setObjectName(QStringLiteral("repeat"));

    connect(m_previous, &PlayerButton::clicked, this, [this] { detach(m_model.skipToPrevious()); });
    connect(m_next, &PlayerButton::clicked, this, [this] { detach(m_model.skipToNext()); });
    connect(m_playPause, &PlayerButton::clicked, this, [this] {
        detach(m_model._isPlaying() ? m_model.pausePlayback() : m_model.resumePlayback());
    });
    connect(m_repeat, &PlayerButton::clicked, this, [this] { m_model.cycleRepeatMode(); });
    connect(m_shuffle, &PlayerButton::clicked, this, [this] { m_model.setShuffled(!m_model.isShuffled()); });
    connect(m_upNext, &PlayerButton::clicked, this, &PlayerView::showUpNext);

    m_tokens.push_back(observeChanges(m_model._isPlaying, [this] { refreshModes(); }));
    // Shuffle and repeat live in the player's state, which announces a change before making it.
    m_model.observePlayerModes(this, [this] { refreshModes(); });
    refreshModes();
}

PlayerView::~PlayerView() = default;

UpNextView *PlayerView::upNext() const { return m_upNextView.data(); }

PlayerButton *PlayerView::button(const QString &symbolOrRole) const
{
    for (PlayerButton *button : {m_previous, m_playPause, m_next, m_repeat, m_shuffle, m_upNext}) {
        if (button->symbolName() == symbolOrRole || button->objectName() == symbolOrRole)
            return button;
    }
    return nullptr;
}

void PlayerView::refreshModes()
{
    const bool playing = m_model._isPlaying();
    m_playPause->setSymbolName(playing ? QStringLiteral("pause.fill") : QStringLiteral("play.fill"));
    m_playPause->setToolTip(playing ? QStringLiteral("Pause") : QStringLiteral("Play"));
    const MusicRepeatMode repeat = m_model.repeatMode();
    m_repeat->setSymbolName(repeat == MusicRepeatMode::one ? QStringLiteral("repeat.1") : QStringLiteral("repeat"));
    m_repeat->setTinted(repeat != MusicRepeatMode::none);
    // Shuffle shows on unless the player was told off: no mode requested counts as on.
    m_shuffle->setTinted(m_model.shuffleMode() != MusicShuffleMode::off);
}

void PlayerView::showUpNext()
{
    if (m_upNextView)
        return;
    m_upNextView = new UpNextView(m_model, this);
    m_upNextView->showAnchoredTo(m_upNext);
}
