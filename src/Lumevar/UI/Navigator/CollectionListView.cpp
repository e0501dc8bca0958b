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
#include <QScopedValueRollback>
#include <QSet>
#include <cmath>
#include <utility>

namespace {

constexpr double minimumRowWidth = 128;
constexpr int rowsMeasuredAround = 3;   // above and below the viewport, for smooth scrolling
constexpr int typeSelectTimeout = 1000; // milliseconds between letters of one search
constexpr int nowPlayingFrameInterval = 33;
constexpr double stillBarsPose = 0.55;  // seconds into the animation shown while paused

} // namespace

CollectionListView::CollectionListView(CollectionListModel &model, QWidget *parent)
    : QAbstractItemView(parent), m_model(model), m_artwork(new RowArtwork(this))
{
    CollectionListAccessibility::install();
    setModel(&model);
    setSelectionMode(SingleSelection);
    setSelectionBehavior(SelectRows);
    setEditTriggers(NoEditTriggers);
    setAutoScroll(false); // the controller decides when a selected row scrolls into view
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollMode(ScrollPerPixel);
    // A reset drops the selection; the row selected before it stays selected (the controller
    // moves it to the selected item's new row when the identifiers changed). It is put back after
    // the selection model has cleared itself, which it does after the view's own reset.
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, [this] { m_rowBeforeReset = selectedRow(); });
    connect(&model, &QAbstractItemModel::modelReset, this, [this] {
        const int selected = std::exchange(m_rowBeforeReset, -1);
        if (selected >= 0 && selected < m_model.count())
            setSelectedRow(selected);
    });
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

int CollectionListView::selectedRow() const
{
    const QItemSelectionModel *selection = selectionModel();
    if (!selection)
        return -1;
    for (const QItemSelectionRange &range : selection->selection())
        if (range.isValid())
            return range.top();
    return -1;
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
    if (selectedRow() >= m_model.count())
        setSelectedRow(-1);
    m_hoverRow = -1;
    measureVisibleRows();
    viewport()->update();
    CollectionListAccessibility::rowsReplaced(this);
}

void CollectionListView::reset()
{
    QAbstractItemView::reset();
    if (m_heights.count() != m_model.count()) {
        m_heights.reset(m_model.count(), estimatedRowHeight());
        m_measuredCount = 0;
        m_hoverRow = -1;
    }
}

// Only visible rows are ever painted: repainting the viewport redraws exactly them from the model.
void CollectionListView::reloadRows(const QList<int> &) { viewport()->update(); }

void CollectionListView::measureRow(int row)
{
    if (row < 0 || row >= m_heights.count() || m_heights.isMeasured(row))
        return;
    double width = rowWidth();
    if (width >= minimumRowWidth)
        m_lastRowWidth = width;
    else
        width = m_lastRowWidth > 0 ? m_lastRowWidth : minimumRowWidth;
    TableCellContent content;
    m_model.configure(content, row, ConfigurationType::preview);
    m_heights.setMeasured(row, std::round(m_painter.rowHeight(content, width)));
    ++m_measuredCount;
}

void CollectionListView::measureVisibleRows()
{
    if (m_measuring)
        return;
    const QScopedValueRollback<bool> measuring(m_measuring, true);
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
    const int measuredAtStart = m_measuredCount;
    const int scrollAtStart = bar->value();
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
    if (m_measuredCount != measuredAtStart || bar->value() != scrollAtStart) {
        updateHover(m_pointer);
        viewport()->update();
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
    const int selected = selectedRow();
    const int rowCount = m_model.count();
    bool needsLayout = m_measuredWidth != rowWidth() || m_heights.count() != rowCount;
    for (const int row : visibleRows()) {
        if (row >= rowCount)
            break;
        needsLayout = needsLayout || !m_heights.isMeasured(row);
        const QRect rect = rowRect(row);
        if (!rect.intersects(event->rect()))
            continue;
        content = TableCellContent{};
        m_model.configure(content, row, ConfigurationType::regular);
        content.isEnabled = content.isEnabled && isEnabled();
        TableCellPainter::RowState state;
        state.selected = row == selected;
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
    // Rows came into view unmeasured (the model changed since the last layout): they were drawn at
    // their estimate and are measured in the layout that follows, outside the paint.
    if (needsLayout)
        scheduleDelayedItemsLayout();
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

void CollectionListView::updateGeometries()
{
    measureVisibleRows();
    updateScrollBar();
    QAbstractItemView::updateGeometries();
}

void CollectionListView::resizeEvent(QResizeEvent *event)
{
    QAbstractItemView::resizeEvent(event); // lays the rows out through updateGeometries
}

void CollectionListView::scrollContentsBy(int, int)
{
    // Rows that come into view get their heights now, before they are painted.
    measureVisibleRows();
    // The rows move under a pointer that stays: the one it stands on now is the hovered one.
    updateHover(m_pointer);
    viewport()->update();
}

void CollectionListView::layoutIfNeeded()
{
    executeDelayedItemsLayout();
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
    setSelectedRow(row);
    viewport()->update();
    if (m_controller)
        m_controller->selectionDidChange(row);
    CollectionListAccessibility::selectionMoved(this, row);
}

void CollectionListView::setSelectedRow(int row)
{
    const QScopedValueRollback<int> silent(m_silentSelection, m_silentSelection + 1);
    if (row < 0)
        selectionModel()->clear();
    else
        selectionModel()->setCurrentIndex(m_model.index(row, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void CollectionListView::selectionChanged(const QItemSelection &selected, const QItemSelection &deselected)
{
    QAbstractItemView::selectionChanged(selected, deselected);
    if (m_silentSelection > 0 || !m_controller)
        return;
    // Someone other than the view chose the row (an assistive tool, a program through the
    // selection model): it counts as the user's choice.
    const int row = selectedRow();
    if (row >= 0 && m_controller->shouldSelectRow(row))
        m_controller->selectionDidChange(row);
}

void CollectionListView::activateRow(int row)
{
    userSelect(row);
    if (selectedRow() == row && m_controller)
        m_controller->activateSelectedRow();
}

void CollectionListView::userSelect(int row)
{
    if (row < 0 || row >= m_model.count())
        return;
    if (m_controller && !m_controller->shouldSelectRow(row))
        return;
    if (row == selectedRow())
        return; // no change, no report
    setSelectedRow(row);
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

void CollectionListView::keyboardSearch(const QString &text)
{
    if (text.isEmpty() || !m_typedAge.isValid() || m_typedAge.elapsed() > typeSelectTimeout)
        m_typed.clear();
    if (text.isEmpty())
        return;
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

QAbstractItemView::CursorAction CollectionListView::cursorActionOf(int key)
{
    switch (key) {
    case Qt::Key_Up: return MoveUp;
    case Qt::Key_Down: return MoveDown;
    case Qt::Key_PageUp: return MovePageUp;
    case Qt::Key_PageDown: return MovePageDown;
    case Qt::Key_Home: return MoveHome;
    default: return MoveEnd;
    }
}

int CollectionListView::rowsPerPage() const
{
    return std::max(1, int(viewport()->height() / std::max(1.0, estimatedRowHeight())));
}

QModelIndex CollectionListView::moveCursor(CursorAction action, Qt::KeyboardModifiers)
{
    const int count = m_model.count();
    if (count == 0)
        return {};
    const int current = selectedRow();
    int row = current;
    switch (action) {
    case MoveUp:
    case MovePrevious:
        row = current < 0 ? 0 : current - 1;
        break;
    case MoveDown:
    case MoveNext:
        row = current < 0 ? 0 : current + 1;
        break;
    case MovePageUp:
        row = std::max(0, current) - rowsPerPage();
        break;
    case MovePageDown:
        row = std::max(0, current) + rowsPerPage();
        break;
    case MoveHome:
        row = 0;
        break;
    case MoveEnd:
        row = count - 1;
        break;
    case MoveLeft:
    case MoveRight:
        return currentIndex();
    }
    return m_model.index(std::clamp(row, 0, count - 1), 0);
}

void CollectionListView::keyPressEvent(QKeyEvent *event)
{
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
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        if (const QModelIndex target = moveCursor(cursorActionOf(event->key()), event->modifiers()); target.isValid())
            moveSelection(target.row());
        return;
    default:
        break;
    }
    const QString text = event->text();
    if (!text.isEmpty() && text.at(0).isPrint() && !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        && !(text == QLatin1String(" ") && m_typed.isEmpty())) {
        keyboardSearch(text);
        return;
    }
    // Past the item view's own keys (copy, select all, edit): the list has none of them.
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
    if (row >= 0 && rowPressed)
        rowPressed();
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
    if (selectedRow() == -1 || !isActiveWindow())
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
    QAbstractItemView::leaveEvent(event);
    updateHover(QPoint(-1, -1));
}

bool CollectionListView::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::Leave)
        updateHover(QPoint(-1, -1));
    return QAbstractItemView::viewportEvent(event);
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
    QAbstractItemView::focusInEvent(event);
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
    QAbstractItemView::focusOutEvent(event);
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
    QAbstractItemView::wheelEvent(event);
}

void CollectionListView::changeEvent(QEvent *event)
{
    QAbstractItemView::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        m_colors = ListColors::from(palette());
        viewport()->update();
    } else if (event->type() == QEvent::FontChange) {
        reloadAppearance();
    } else if (event->type() == QEvent::EnabledChange || event->type() == QEvent::ActivationChange) {
        viewport()->update();
    }
}

// The item-view geometry, answered through the height index: O(log n) per call, whatever the
// number of rows.

int CollectionListView::verticalOffset() const { return verticalScrollBar()->value(); }

QRect CollectionListView::visualRect(const QModelIndex &index) const
{
    if (!index.isValid() || index.row() >= m_heights.count())
        return {};
    return rowRect(index.row());
}

QModelIndex CollectionListView::indexAt(const QPoint &point) const
{
    const int row = rowAt(point);
    return row >= 0 && row < m_model.count() ? m_model.index(row, 0) : QModelIndex();
}

void CollectionListView::scrollTo(const QModelIndex &index, ScrollHint hint)
{
    if (!index.isValid() || index.row() >= m_heights.count())
        return;
    const int row = index.row();
    if (hint == EnsureVisible) {
        scrollRowToVisible(row);
        return;
    }
    measureRow(row);
    updateScrollBar();
    const int top = int(std::lround(m_heights.top(row)));
    const int bottom = int(std::lround(m_heights.top(row + 1)));
    const int visibleHeight = viewport()->height() - bottomInset;
    QScrollBar *bar = verticalScrollBar();
    if (hint == PositionAtTop)
        bar->setValue(top);
    else if (hint == PositionAtBottom)
        bar->setValue(bottom - visibleHeight);
    else
        bar->setValue((top + bottom - visibleHeight) / 2);
}

void CollectionListView::setSelection(const QRect &rect, QItemSelectionModel::SelectionFlags command)
{
    const int count = std::min(m_heights.count(), m_model.count());
    if (count == 0)
        return;
    const int scroll = verticalOffset();
    const QRect rows = rect.normalized();
    const int first = std::clamp(m_heights.rowAt(std::max(0, rows.top() + scroll)), 0, count - 1);
    const int last = std::clamp(m_heights.rowAt(std::max(0, rows.bottom() + scroll)), 0, count - 1);
    selectionModel()->select(QItemSelection(m_model.index(first, 0), m_model.index(last, 0)), command);
}

QRegion CollectionListView::visualRegionForSelection(const QItemSelection &selection) const
{
    QRegion region;
    const int count = m_heights.count();
    for (const QItemSelectionRange &range : selection) {
        if (!range.isValid() || count == 0)
            continue;
        const int first = std::clamp(range.top(), 0, count - 1);
        const int last = std::clamp(range.bottom(), 0, count - 1);
        region += QRect(rowRect(first).topLeft(), rowRect(last).bottomRight()) & viewport()->rect();
    }
    return region;
}
