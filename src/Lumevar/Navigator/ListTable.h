#pragma once
// What the list controller needs of the table that shows a list: reloading, the selected row,
// scrolling, the visible rows and the keyboard focus. The widget implements it; tests drive the
// controller with a recording table.

#include <QList>
#include <QPointF>

class ListTable {
public:
    virtual ~ListTable() = default;

    // Takes the rows anew from the model (heights, texts, artwork); the selected row index stays.
    virtual void reloadData() = 0;
    // Repaints the given rows from the model.
    virtual void reloadRows(const QList<int> &rows) = 0;
    virtual int selectedRow() const = 0; // -1 for none
    // Selects row alone; reports it like a user's selection (the controller may silence it).
    virtual void selectRow(int row) = 0;
    virtual void scrollRowToVisible(int row) = 0;
    virtual QList<int> visibleRows() const = 0;
    // Lays the table out at once, so that scrolling acts on its real size.
    virtual void layoutIfNeeded() = 0;
    virtual QPointF scrollPosition() const = 0;
    virtual void scrollToPoint(QPointF point) = 0;
    virtual bool hasKeyboardFocus() const = 0;
    virtual void takeKeyboardFocus() = 0;
    virtual void setEnabled(bool enabled) = 0;
};
