#include "Lumevar/UI/Navigator/CollectionListView.h"

#include "Lumevar/UI/Navigator/CollectionListAccessibility.h"

#include "Lumevar/Navigator/CollectionListController.h"
#include "Lumevar/Navigator/CollectionListModel.h"
#include "Support/NotificationCenter.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QWheelEvent>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QSet>
#include <cmath>

namespace {

constexpr double minimumRowWidth = 128;
constexpr int rowsMeasuredAround = 3;   // above and below the viewport, for smooth scrolling
constexpr int typeSelectTimeout = 1000; // milliseconds between letters of one search
constexpr int nowPlayingFrameInterval = 33;
constexpr double stillBarsPose = 0.55;  // seconds into the animation shown while paused

// The width rows were last measured at, shared by every list: a list that is not laid out yet
// reports a narrow or zero width and measures with this one instead.
double lastRowWidth = 0;

} // namespace

CollectionListView::CollectionListView(CollectionListModel &model, QWidget *parent)
    : QAbstractScrollArea(parent), m_model(model), m_artwork(new RowArtwork(this))
{
    CollectionListAccessibility::install();
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_MacShowFocusRect, false);
    viewport()->setMouseTracking(true);
    viewport()->setAutoFillBackground(true);
    viewport()->setBackgroundRole(QPalette::Base);
    verticalScrollBar()->setSingleStep(20);
    // A thin scroller without arrows over the rows' right margin.
    verticalScrollBar()->setStyleSheet(QStringLiteral(
        "QScrollBar:vertical { width: 8px; background: transparent; margin: 0; }"
        "QScrollBar::handle:vertical { background: rgba(128, 128, 128, 110); border-radius: 3px; min-height: 28px; margin: 1px; }"
        "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
        "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: none; }"));
    m_nowPlayingTimer.setInterval(nowPlayingFrameInterval);
    connect(&m_nowPlayingTimer, &QTimer::timeout, viewport(), qOverload<>(&QWidget::update));
    connect(m_artwork, &RowArtwork::changed, viewport(), qOverload<>(&QWidget::update));
    reloadAppearance();
}

CollectionListView::~CollectionListView() = default;

void CollectionListView::reloadAppearance()
{
    m_painter.setAppearance(CellAppearance::fromSettings(), font());
    m_colors = ListColors::from(palette());
    m_heights.invalidate(estimatedRowHeight());
    m_measuredCount = 0;
    updateScrollBar();
    viewport()->update();
}

double CollectionListView::rowWidth() const { return std::max(0, viewport()->width() - 2 * horizontalInset); }

double CollectionListView::estimatedRowHeight() const
{
    const CellAppearance &appearance = m_painter.appearance();
    return appearance.artworkSize + 2 * appearance.verticalPadding;
}

void CollectionListView::reloadData()
{
    m_heights.reset(m_model.count(), estimatedRowHeight());
    m_measuredCount = 0;
    m_measuredWidth = rowWidth();
    if (m_selectedRow >= m_model.count())
        m_selectedRow = -1;
    m_hoverRow = -1;
    updateScrollBar();
    viewport()->update();
    CollectionListAccessibility::rowsReplaced(this);
}

// Only visible rows are ever painted: repainting the viewport redraws exactly them from the model.
void CollectionListView::reloadRows(const QList<int> &) { viewport()->update(); }

void CollectionListView::measureRow(int row)
{
    if (row < 0 || row >= m_heights.count() || m_heights.isMeasured(row))
        return;
    double width = rowWidth();
    if (width < minimumRowWidth)
        width = lastRowWidth;
    else
        lastRowWidth = width;
    TableCellContent content;
    m_model.configure(content, row, ConfigurationType::preview);
    m_heights.setMeasured(row, std::round(m_painter.rowHeight(content, width)));
    ++m_measuredCount;
}

void CollectionListView::measureVisibleRows()
{
    if (m_heights.count() != m_model.count())
        m_heights.reset(m_model.count(), estimatedRowHeight());
    if (m_measuredWidth != rowWidth()) {
        m_measuredWidth = rowWidth();
        m_heights.invalidate(estimatedRowHeight());
        m_measuredCount = 0;
    }
    if (m_heights.count() == 0)
        return;
    // A list scrolled to its end stays at its end while the rows in view get their heights; a
    // pass can bring new rows into view, so measure until nothing changes (a few passes at most).
    QScrollBar *bar = verticalScrollBar();
    const bool pinnedToEnd = bar->value() > 0 && bar->value() >= bar->maximum();
    for (int pass = 0; pass < 4; ++pass) {
        const int measuredBefore = m_measuredCount;
        const int scroll = bar->value();
        const int first = m_heights.rowAt(scroll);
        const double firstTopBefore = m_heights.top(first);
        double y = firstTopBefore;
        int row = first;
        for (int extra = 0; row < m_heights.count() && (y < scroll + viewport()->height() || extra++ < rowsMeasuredAround); ++row) {
            measureRow(row);
            y += m_heights.height(row);
        }
        for (int above = std::max(0, first - rowsMeasuredAround); above < first; ++above)
            measureRow(above);
        const double shift = m_heights.top(first) - firstTopBefore;
        updateScrollBar();
        const QSignalBlocker blocker(bar);
        if (pinnedToEnd)
            bar->setValue(bar->maximum());
        else if (shift != 0) // rows above changed height: the first visible row stays where it stood
            bar->setValue(scroll + int(std::lround(shift)));
        if (m_measuredCount == measuredBefore)
            break;
    }
}

void CollectionListView::updateScrollBar()
{
    const int total = int(std::ceil(m_heights.total())) + bottomInset;
    QScrollBar *bar = verticalScrollBar();
    bar->setRange(0, std::max(0, total - viewport()->height()));
    bar->setPageStep(viewport()->height());
}

QRect CollectionListView::rowRect(int row) const
{
    const int top = int(std::lround(m_heights.top(row))) - verticalScrollBar()->value();
    const int bottom = int(std::lround(m_heights.top(row + 1))) - verticalScrollBar()->value();
    return QRect(horizontalInset, top, int(rowWidth()), bottom - top);
}

int CollectionListView::rowAt(const QPoint &point) const
{
    if (m_heights.count() == 0 || point.x() < 0 || point.x() >= viewport()->width())
        return -1;
    const double y = point.y() + verticalScrollBar()->value();
    if (y < 0 || y >= m_heights.total())
        return -1;
    return m_heights.rowAt(y);
}

QList<int> CollectionListView::visibleRows() const
{
    QList<int> rows;
    if (m_heights.count() == 0)
        return rows;
    const int scroll = verticalScrollBar()->value();
    for (int row = m_heights.rowAt(scroll); row < m_heights.count() && m_heights.top(row) < scroll + viewport()->height(); ++row)
        rows.append(row);
    return rows;
}

void CollectionListView::paintEvent(QPaintEvent *event)
{
    measureVisibleRows();
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const CellAppearance &appearance = m_painter.appearance();
    const bool emphasized = hasFocus() && isActiveWindow();
    bool anyNowPlaying = false;
    const bool animates = playbackIsRunning ? playbackIsRunning() : true;
    const double elapsed = animates && m_nowPlayingSince.isValid() ? m_nowPlayingSince.elapsed() / 1000.0 : stillBarsPose;
    QSet<QString> shownArtwork;
    TableCellContent content;
    for (const int row : visibleRows()) {
        const QRect rect = rowRect(row);
        if (!rect.intersects(event->rect()))
            continue;
        content = TableCellContent{};
        m_model.configure(content, row, ConfigurationType::regular);
        content.isEnabled = content.isEnabled && isEnabled();
        TableCellPainter::RowState state;
        state.selected = row == m_selectedRow;
        state.emphasized = state.selected && emphasized;
        state.alternate = appearance.useAlternatingRowColors && (row % 2 == 1);
        state.pointerInArtwork = row == m_hoverRow && m_pointerInArtwork;
        if (content.artworkID) {
            const RowArtwork::Slot slot = m_artwork->slot(content.artworkURL, *content.artworkID);
            state.artworkState = slot.state;
            state.image = slot.image;
            shownArtwork.insert(*content.artworkID);
        }
        state.barsElapsed = elapsed;
        anyNowPlaying = anyNowPlaying
                        || ArtworkDisplay::of(state.artworkState, state.pointerInArtwork, content.showNowPlayingIndicator).showsNowPlaying;
        m_painter.paint(painter, rect, content, state, m_colors, !appearance.useAlternatingRowColors);
    }
    m_artwork->retainOnly(shownArtwork);
    syncNowPlayingTimer(anyNowPlaying && animates);
}

void CollectionListView::syncNowPlayingTimer(bool running)
{
    if (running && !m_nowPlayingTimer.isActive()) {
        if (!m_nowPlayingSince.isValid())
            m_nowPlayingSince.start();
        m_nowPlayingTimer.start();
    } else if (!running && m_nowPlayingTimer.isActive()) {
        m_nowPlayingTimer.stop();
        m_nowPlayingSince.invalidate();
    }
}

void CollectionListView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateScrollBar();
}

void CollectionListView::scrollContentsBy(int, int)
{
    // The rows move under a pointer that stays: the one it stands on now is the hovered one.
    updateHover(m_pointer);
    viewport()->update();
}

void CollectionListView::layoutIfNeeded()
{
    measureVisibleRows();
    updateScrollBar();
}

QPointF CollectionListView::scrollPosition() const { return QPointF(0, verticalScrollBar()->value()); }

void CollectionListView::scrollToPoint(QPointF point) { verticalScrollBar()->setValue(int(std::lround(point.y()))); }

void CollectionListView::scrollRowToVisible(int row)
{
    if (row < 0 || row >= m_heights.count())
        return;
    measureRow(row);
    updateScrollBar();
    const int top = int(std::lround(m_heights.top(row)));
    const int bottom = int(std::lround(m_heights.top(row + 1)));
    QScrollBar *bar = verticalScrollBar();
    const int visibleHeight = viewport()->height() - bottomInset;
    if (top < bar->value())
        bar->setValue(top);
    else if (bottom > bar->value() + visibleHeight)
        bar->setValue(bottom - std::max(visibleHeight, bottom - top));
}

void CollectionListView::takeKeyboardFocus() { setFocus(Qt::OtherFocusReason); }

void CollectionListView::selectRow(int row)
{
    if (row < 0 || row >= m_model.count())
        return;
    m_selectedRow = row;
    viewport()->update();
    if (m_controller)
        m_controller->selectionDidChange(row);
    CollectionListAccessibility::selectionMoved(this, row);
}

void CollectionListView::activateRow(int row)
{
    userSelect(row);
    if (m_selectedRow == row && m_controller)
        m_controller->activateSelectedRow();
}

void CollectionListView::userSelect(int row)
{
    if (row < 0 || row >= m_model.count())
        return;
    if (m_controller && !m_controller->shouldSelectRow(row))
        return;
    if (row == m_selectedRow)
        return; // no change, no report
    m_selectedRow = row;
    viewport()->update();
    if (m_controller)
        m_controller->selectionDidChange(row);
}

void CollectionListView::moveSelection(int row)
{
    row = std::clamp(row, 0, m_model.count() - 1);
    userSelect(row);
    scrollRowToVisible(row);
}

void CollectionListView::typeSelect(const QString &text)
{
    if (!m_typedAge.isValid() || m_typedAge.elapsed() > typeSelectTimeout)
        m_typed.clear();
    m_typed += text;
    m_typedAge.start();
    const int count = m_model.count();
    for (int row = 0; row < count; ++row) {
        if (m_model.itemTitle(row).startsWith(m_typed, Qt::CaseInsensitive)) {
            moveSelection(row);
            return;
        }
    }
}

void CollectionListView::keyPressEvent(QKeyEvent *event)
{
    const int count = m_model.count();
    const int rowsPerPage = std::max(1, int(viewport()->height() / std::max(1.0, estimatedRowHeight())));
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (event->text().size() == 1 && m_controller) {
            m_controller->activateSelectedRow();
            return;
        }
        break;
    case Qt::Key_Left:
    case Qt::Key_Right:
        event->ignore(); // the pane strip's keys
        return;
    case Qt::Key_Up:
        if (count > 0)
            moveSelection(m_selectedRow < 0 ? 0 : m_selectedRow - 1);
        return;
    case Qt::Key_Down:
        if (count > 0)
            moveSelection(m_selectedRow < 0 ? 0 : m_selectedRow + 1);
        return;
    case Qt::Key_PageUp:
        if (count > 0)
            moveSelection(std::max(0, m_selectedRow) - rowsPerPage);
        return;
    case Qt::Key_PageDown:
        if (count > 0)
            moveSelection(std::max(0, m_selectedRow) + rowsPerPage);
        return;
    case Qt::Key_Home:
        if (count > 0)
            moveSelection(0);
        return;
    case Qt::Key_End:
        if (count > 0)
            moveSelection(count - 1);
        return;
    default:
        break;
    }
    const QString text = event->text();
    if (!text.isEmpty() && text.at(0).isPrint() && !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        && !(text == QLatin1String(" ") && m_typed.isEmpty())) {
        typeSelect(text);
        return;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void CollectionListView::updateHover(const QPoint &point)
{
    m_pointer = point;
    const int row = rowAt(point);
    const bool inArtwork = row >= 0 && m_painter.artworkRect(rowRect(row)).contains(point);
    if (row != m_hoverRow || inArtwork != m_pointerInArtwork) {
        m_hoverRow = row;
        m_pointerInArtwork = inArtwork;
        viewport()->update();
    }
}

void CollectionListView::mousePressEvent(QMouseEvent *event)
{
    m_pressedRow = -1;
    if (event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    const QPoint point = event->position().toPoint();
    updateHover(point);
    const int row = rowAt(point);
    if (row >= 0 && m_pointerInArtwork) {
        TableCellContent content;
        m_model.configure(content, row, ConfigurationType::regular);
        ArtworkState state = ArtworkState::unknown;
        if (content.artworkID)
            state = m_artwork->slot(content.artworkURL, *content.artworkID).state;
        if (ArtworkDisplay::of(state, true, content.showNowPlayingIndicator).showsOverlay) {
            if (content.showNowPlayingIndicator) {
                if (pauseRequest)
                    pauseRequest();
            } else if (m_controller) {
                m_controller->playRequest(row);
            }
            return;
        }
    }
    if (!hasFocus())
        setFocus(Qt::MouseFocusReason);
    userSelect(row);
    m_pressedRow = row;
}

void CollectionListView::mouseReleaseEvent(QMouseEvent *event)
{
    const int pressed = m_pressedRow;
    m_pressedRow = -1;
    if (event->button() != Qt::LeftButton || pressed < 0)
        return;
    // A click on a row asks the navigator to move on; a click below the rows does not.
    if (m_selectedRow == -1 || !isActiveWindow())
        return;
    NotificationCenter::shared().post(Notifications::navigateRightOnSelection);
}

void CollectionListView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rowAt(event->position().toPoint()) >= 0 && m_controller)
        m_controller->activateSelectedRow();
}

void CollectionListView::mouseMoveEvent(QMouseEvent *event) { updateHover(event->position().toPoint()); }

void CollectionListView::leaveEvent(QEvent *event)
{
    QAbstractScrollArea::leaveEvent(event);
    updateHover(QPoint(-1, -1));
}

bool CollectionListView::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::Leave)
        updateHover(QPoint(-1, -1));
    return QAbstractScrollArea::viewportEvent(event);
}

void CollectionListView::contextMenuEvent(QContextMenuEvent *event)
{
    if (!menuProvider)
        return;
    const int row = rowAt(viewport()->mapFrom(this, event->pos()));
    QMenu *menu = menuProvider(row);
    if (!menu)
        return;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

void CollectionListView::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
    if (!m_controller)
        return;
    const Qt::FocusReason reason = event->reason();
    const bool byUser = reason == Qt::MouseFocusReason || reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason;
    m_controller->becameFirstResponder(byUser ? CollectionListController::FocusCause::keyOrMouse
                                              : CollectionListController::FocusCause::other);
}

void CollectionListView::focusOutEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

void CollectionListView::wheelEvent(QWheelEvent *event)
{
    const QPoint pixels = event->pixelDelta();
    const QPoint angle = event->angleDelta();
    const QPoint delta = pixels.isNull() ? angle : pixels;
    if (std::abs(delta.x()) > std::abs(delta.y())) {
        event->ignore(); // horizontal: the pane strip's swipe
        return;
    }
    m_pointer = event->position().toPoint();
    QAbstractScrollArea::wheelEvent(event);
}

void CollectionListView::changeEvent(QEvent *event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        m_colors = ListColors::from(palette());
        viewport()->update();
    } else if (event->type() == QEvent::FontChange) {
        reloadAppearance();
    } else if (event->type() == QEvent::EnabledChange || event->type() == QEvent::ActivationChange) {
        viewport()->update();
    }
}
