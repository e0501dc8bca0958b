#pragma once
// The table of every navigator list: a virtualised one-column view over a CollectionListModel
// that measures rows only as they come into view (RowHeightIndex keeps the running height, the
// others count with an estimate), paints them with TableCellPainter, and reports to its
// CollectionListController.
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

#include <QAbstractScrollArea>
#include <QElapsedTimer>
#include <QTimer>
#include <functional>

class CollectionListController;
class CollectionListModel;
class QMenu;

class CollectionListView : public QAbstractScrollArea, public ListTable {
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
    int selectedRow() const override { return m_selectedRow; }
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

protected:
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
    void userSelect(int row);
    void moveSelection(int row);
    void typeSelect(const QString &text);
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
    int m_selectedRow = -1;
    int m_hoverRow = -1;
    QPoint m_pointer{-1, -1}; // where the pointer last was over the rows, in the viewport
    bool m_pointerInArtwork = false;
    int m_pressedRow = -1;
    QString m_typed;
    QElapsedTimer m_typedAge;
    QTimer m_nowPlayingTimer;
    QElapsedTimer m_nowPlayingSince;
};
