#pragma once
// The table of every navigator list: a virtualised one-column item view over a CollectionListModel
// that measures rows only as they come into view (RowHeightIndex keeps the running height, the
// others count with an estimate), paints them with TableCellPainter, and reports to its
// CollectionListController.
//
// - The selected row lives in Qt's selection model (single selection); the item-view geometry
//   (visualRect, indexAt, moveCursor, scrollTo) answers through the height index, so nothing walks
//   the rows beyond those in view.
// - Rows are measured when the geometry changes (updateGeometries, after a resize, a reload or a
//   model reset) and when the list scrolls, never while painting: a paint that meets a row not
//   measured yet draws it at its estimate and asks for a delayed layout.
//
// - Keys: Up and Down move the selection, Page Up/Down, Home and End too; Return and keypad Enter
//   activate the selected row; letters select by title (type-select); Left and Right are left to
//   the pane strip.
// - A click selects; after a click on a row (in the active window) "navigateRightOnSelection" is
//   posted. A double click activates. Over the artwork of a row the pointer shows the play (or
//   pause) button, whose click plays the row (or pauses).
// - A right click asks the menu provider for the clicked row's menu.
// - Horizontal wheel movement is left to the strip (the swipe).
// - The last row stays clear of the floating player: 52 points of room below it.

#include "Lumevar/Navigator/ListTable.h"
#include "Lumevar/Navigator/RowHeightIndex.h"
#include "Lumevar/UI/Navigator/ListColors.h"
#include "Lumevar/UI/Navigator/RowArtwork.h"
#include "Lumevar/UI/Navigator/TableCellPainter.h"

#include <QAbstractItemView>
#include <QElapsedTimer>
#include <QTimer>
#include <functional>

class CollectionListController;
class CollectionListModel;
class QMenu;

class CollectionListView : public QAbstractItemView, public ListTable {
    Q_OBJECT
public:
    static constexpr int bottomInset = 52;
    static constexpr int horizontalInset = 10;

    CollectionListView(CollectionListModel &model, QWidget *parent = nullptr);
    ~CollectionListView() override;

    void setController(CollectionListController *controller) { m_controller = controller; }
    void setArtworkSource(ArtworkSource source) { m_artwork->setSource(std::move(source)); }
    // The menu of a row (-1 for a click below the rows); null for none.
    std::function<QMenu *(int row)> menuProvider;
    // Called on a pause request from the playing row's button.
    std::function<void()> pauseRequest;
    // Whether playback runs: the now-playing bars move only then (still while paused).
    std::function<bool()> playbackIsRunning;
    // Called when a row is pressed, before anything else: a press is often the first half of a
    // double click that plays, so a list of playable rows starts the player's engine here.
    std::function<void()> rowPressed;

    // Re-reads the settings and the palette's colours.
    void reloadAppearance();
    CollectionListModel &model() const { return m_model; }
    int rowAt(const QPoint &viewportPoint) const;
    QRect rowRect(int row) const; // in viewport coordinates
    // Selects the row as a click does and activates it as Return does (a screen reader's press).
    void activateRow(int row);
    // Rows measured so far; for tests and benchmarks.
    int measuredRowCount() const { return m_measuredCount; }
    int artworkSlotCount() const { return m_artwork->slotCount(); }

    // ListTable
    void reloadData() override;
    void reloadRows(const QList<int> &rows) override;
    int selectedRow() const override;
    void selectRow(int row) override;
    void scrollRowToVisible(int row) override;
    QList<int> visibleRows() const override;
    void layoutIfNeeded() override;
    QPointF scrollPosition() const override;
    void scrollToPoint(QPointF point) override;
    bool hasKeyboardFocus() const override { return hasFocus(); }
    void takeKeyboardFocus() override;
    void setEnabled(bool enabled) override { QWidget::setEnabled(enabled); }

    // The row under the pointer, which shows the play button over its artwork; -1 for none.
    int hoveredRow() const { return m_hoverRow; }

    // QAbstractItemView
    QRect visualRect(const QModelIndex &index) const override;
    void scrollTo(const QModelIndex &index, ScrollHint hint = EnsureVisible) override;
    QModelIndex indexAt(const QPoint &point) const override;
    // Selects the first row from the current one (wrapping) whose title starts with the letters
    // typed within a second of each other.
    void keyboardSearch(const QString &search) override;
    void reset() override;

protected:
    QModelIndex moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers) override;
    int horizontalOffset() const override { return 0; }
    int verticalOffset() const override;
    bool isIndexHidden(const QModelIndex &) const override { return false; }
    void setSelection(const QRect &rect, QItemSelectionModel::SelectionFlags command) override;
    QRegion visualRegionForSelection(const QItemSelection &selection) const override;
    void updateGeometries() override;
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;

    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool viewportEvent(QEvent *event) override;

private:
    double rowWidth() const;
    double estimatedRowHeight() const;
    // Measures the rows that stand in the viewport (and a few around), keeping the first
    // visible row where it was on screen when rows above it change height.
    void measureVisibleRows();
    void measureRow(int row);
    void updateScrollBar();
    int rowsPerPage() const;
    static CursorAction cursorActionOf(int key); // of a navigation key
    // Puts row (or none, for -1) into the selection model without reporting it to the controller.
    void setSelectedRow(int row);
    void userSelect(int row);
    void moveSelection(int row);
    void updateHover(const QPoint &point);
    void syncNowPlayingTimer(bool anyNowPlaying);

    CollectionListModel &m_model;
    CollectionListController *m_controller = nullptr;
    TableCellPainter m_painter;
    ListColors m_colors;
    RowHeightIndex m_heights;
    RowArtwork *m_artwork;
    int m_measuredCount = 0;
    double m_measuredWidth = -1;
    // The width rows were last measured at: a list that is not laid out yet reports a narrow or
    // zero width and measures with this one instead.
    double m_lastRowWidth = 0;
    int m_silentSelection = 0; // above 0 while the view itself writes the selection model
    int m_rowBeforeReset = -1;
    bool m_measuring = false;
    int m_hoverRow = -1;
    QPoint m_pointer{-1, -1}; // where the pointer last was over the rows, in the viewport
    bool m_pointerInArtwork = false;
    int m_pressedRow = -1;
    QString m_typed;
    QElapsedTimer m_typedAge;
    QTimer m_nowPlayingTimer;
    QElapsedTimer m_nowPlayingSince;
};
