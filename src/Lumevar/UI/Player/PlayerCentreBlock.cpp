#include "Lumevar/UI/Player/PlayerCentreBlock.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/UI/ColorScheme.h"
#include "Lumevar/UI/Player/ArtworkView.h"
#include "Lumevar/UI/Player/PlaybackTimeView.h"
#include "Lumevar/UI/Player/PlayerSymbols.h"
#include "Support/Task.h"

#include <QEnterEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// The SnapBack mark: a dark veil over the artwork with the white-on-orange return arrow.
class SnapBackMark : public QWidget {
public:
    explicit SnapBackMark(std::function<void()> onTap, QWidget *parent) : QWidget(parent), m_onTap(std::move(onTap))
    {
        setObjectName(QStringLiteral("snapBackMark"));
        setToolTip(QStringLiteral("Library SnapBack"));
        setCursor(Qt::PointingHandCursor);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), QColor::fromRgbF(0, 0, 0, 0.5f));
        const qreal edge = 20;
        PlayerSymbols::draw(painter, QStringLiteral("arrow.uturn.left.circle.fill"),
                            QRectF((width() - edge) / 2, (height() - edge) / 2, edge, edge), Qt::white, QColor(255, 149, 0));
    }
    void mouseReleaseEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
            m_onTap();
    }

private:
    std::function<void()> m_onTap;
};

} // namespace

PlayerCentreBlock::PlayerCentreBlock(MainViewModel &model, QWidget *parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("playerCentre"));
    setFixedHeight(blockHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setMouseTracking(true);

    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);

    m_artworkSlot = new QWidget(this);
    m_artworkSlot->setFixedSize(artworkEdge, artworkEdge);
    m_artworkSlot->installEventFilter(this);
    m_artwork = new ArtworkView(QSize(artworkEdge, artworkEdge), 0, false, m_artworkSlot);
    m_snapBack = new SnapBackMark([this] { m_model.snapBack(); }, m_artworkSlot);
    m_snapBack->setGeometry(0, 0, artworkEdge, artworkEdge);
    m_snapBack->hide();
    row->addWidget(m_artworkSlot);

    m_texts = new QWidget(this);
    auto *texts = new QVBoxLayout(m_texts);
    texts->setContentsMargins(4, 0, 4, 0);
    texts->setSpacing(0);
    texts->addStretch();
    auto *titleRow = new QHBoxLayout;
    titleRow->setSpacing(titleSpacing);
    titleRow->addStretch();
    m_balance = new QWidget(m_texts);
    m_balance->setFixedWidth(addButtonWidth);
    titleRow->addWidget(m_balance);
    m_title = new QLabel(m_texts);
    m_title->setObjectName(QStringLiteral("playerTitle"));
    m_title->setTextFormat(Qt::PlainText);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    QFont titleFont = m_title->font();
    // Sizes in pixels: the bar is drawn to a pixel grid of 36, whatever the desktop's point size.
    titleFont.setPixelSize(12);
    titleFont.setWeight(QFont::Medium);
    m_title->setFont(titleFont);
    titleRow->addWidget(m_title, 1);
    m_add = new QToolButton(m_texts);
    m_add->setObjectName(QStringLiteral("addToLibraryButton"));
    m_add->setToolTip(QStringLiteral("Add to Library"));
    m_add->setAccessibleName(QStringLiteral("Add to Library"));
    m_add->setAutoRaise(true);
    m_add->setFocusPolicy(Qt::NoFocus);
    m_add->setFixedSize(addButtonWidth, addButtonWidth);
    m_add->setIconSize(QSize(addButtonWidth - 1, addButtonWidth - 1));
    m_add->setStyleSheet(QStringLiteral("QToolButton { border: none; padding: 0; }"));
    connect(m_add, &QToolButton::clicked, this, [this] { detach(m_model.addCurrentSongToLibrary()); });
    titleRow->addWidget(m_add);
    titleRow->addStretch();
    texts->addLayout(titleRow);
    m_subtitle = new QLabel(m_texts);
    m_subtitle->setObjectName(QStringLiteral("playerSubtitle"));
    m_subtitle->setTextFormat(Qt::PlainText);
    m_subtitle->setAlignment(Qt::AlignCenter);
    m_subtitle->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    QFont subtitleFont = m_subtitle->font();
    subtitleFont.setPixelSize(11);
    m_subtitle->setFont(subtitleFont);
    texts->addWidget(m_subtitle);
    texts->addStretch();
    row->addWidget(m_texts, 1);

    m_time = new PlaybackTimeView(this);
    connect(m_time, &PlaybackTimeView::timeRequested, this, [this](double seconds) { m_model.setCurrentPlayingTime(seconds); });

    observeEach(m_tokens, [this] { refresh(); }, m_model._playingTitle, m_model._playingSubtitle,
                m_model._playingArtwork, m_model._playingItemIDForArtwork, m_model._canAddToLibrary,
                m_model._lastSavedSnapbackState);
    observeEach(m_tokens, [this] { refreshTime(); }, m_model._currentPlayingTime, m_model._playingDuration);
    changeEvent(nullptr);
    refresh();
    refreshTime();
}

PlayerCentreBlock::~PlayerCentreBlock() = default;

QColor PlayerCentreBlock::backgroundColor(bool dark) { return QColor::fromRgbF(0, 0, 0, dark ? 0.24f : 0.08f); }

void PlayerCentreBlock::refresh()
{
    const std::optional<QString> &title = m_model._playingTitle();
    const std::optional<QString> &artworkID = m_model._playingItemIDForArtwork();
    m_artwork->setVisible(artworkID.has_value());
    if (artworkID) {
        const std::optional<Artwork> &artwork = m_model._playingArtwork();
        m_artwork->setArtwork(artwork ? std::optional<QUrl>(artwork->url(64, 64)) : std::nullopt, *artworkID);
    } else {
        m_artwork->clear();
    }
    m_texts->setVisible(title.has_value());
    m_time->setVisible(title.has_value());
    m_fullTitle = title.value_or(QString());
    m_fullSubtitle = m_model._playingSubtitle().value_or(QString());
    m_subtitle->setToolTip(m_fullSubtitle);
    m_title->setToolTip(m_fullTitle);
    m_subtitle->setVisible(m_model._playingSubtitle().has_value());
    refreshHover();
}

bool PlayerCentreBlock::titleRowIsBalanced() const { return !m_balance->isHidden(); }

void PlayerCentreBlock::refreshHover()
{
    m_snapBack->setVisible(m_insideArtwork && m_model._lastSavedSnapbackState().has_value());
    if (m_snapBack->isVisible())
        m_snapBack->raise();
    const bool offersAdd = m_insideHoodie && m_model._canAddToLibrary();
    m_add->setVisible(offersAdd);
    // The first of two rows that fits: the title centred between an empty slot and the button, or
    // the title followed by the button.
    const int available = m_texts->width() - 8;
    // The title on one line, cut with an ellipsis where the row leaves too little room.
    const int room = std::max(0, offersAdd ? available - addButtonWidth - titleSpacing : available);
    m_title->setText(m_title->fontMetrics().elidedText(m_fullTitle, Qt::ElideRight, room));
    m_subtitle->setText(m_subtitle->fontMetrics().elidedText(m_fullSubtitle, Qt::ElideRight, std::max(0, available)));
    const int titleWidth = m_title->fontMetrics().horizontalAdvance(m_title->text());
    const bool balanced = titleWidth + 2 * (addButtonWidth + titleSpacing) <= available;
    m_balance->setVisible(offersAdd && balanced);
    m_title->setAlignment(offersAdd ? Qt::AlignLeft | Qt::AlignVCenter : Qt::AlignCenter);
    if (offersAdd)
        m_title->setMaximumWidth(std::max(0, titleWidth));
    else
        m_title->setMaximumWidth(QWIDGETSIZE_MAX);
}

void PlayerCentreBlock::refreshTime()
{
    m_time->setTimes(m_model._currentPlayingTime(), m_model._playingDuration());
}

void PlayerCentreBlock::enterEvent(QEnterEvent *event)
{
    QWidget::enterEvent(event);
    m_insideHoodie = true;
    refreshHover();
}

void PlayerCentreBlock::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    m_insideHoodie = false;
    m_insideArtwork = false;
    refreshHover();
}

bool PlayerCentreBlock::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_artworkSlot && (event->type() == QEvent::Enter || event->type() == QEvent::Leave)) {
        m_insideArtwork = event->type() == QEvent::Enter;
        refreshHover();
    }
    return QWidget::eventFilter(watched, event);
}

void PlayerCentreBlock::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layOutOverlays();
    refreshHover();
}

void PlayerCentreBlock::layOutOverlays()
{
    // The time bar lies along the bottom edge, one point in from the leading side.
    m_time->setGeometry(1, height() - PlaybackTimeView::frameHeight, width() - 1, PlaybackTimeView::frameHeight);
    m_time->raise();
}

void PlayerCentreBlock::changeEvent(QEvent *event)
{
    if (event)
        QWidget::changeEvent(event);
    if (event && event->type() != QEvent::PaletteChange)
        return;
    // The subtitle in the secondary label colour, the add button in the primary one.
    QPalette secondary = m_subtitle->palette();
    QColor text = palette().color(QPalette::WindowText);
    text.setAlphaF(0.55f);
    secondary.setColor(QPalette::WindowText, text);
    m_subtitle->setPalette(secondary);
    m_add->setIcon(PlayerSymbols::icon(QStringLiteral("plus.circle.fill"), palette().color(QPalette::WindowText), addButtonWidth));
}

void PlayerCentreBlock::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath box;
    box.addRoundedRect(QRectF(rect()), 6, 6);
    painter.setClipPath(box);
    painter.fillPath(box, backgroundColor(isDarkScheme(palette())));
}
