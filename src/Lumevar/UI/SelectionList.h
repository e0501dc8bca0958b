#pragma once
// A plain list of rows (identifier and text) bound to a selection field: the list shows the
// selected identifier, and a selection by the user is reported through selectionChanged(). Up and
// Down move the selection (the list's own keys), Left and Right ask to move to the neighbouring
// list, Return and a double click ask to activate the row.

#include <QListWidget>
#include <optional>

class SelectionList : public QListWidget {
    Q_OBJECT
public:
    struct Row {
        QString id;
        QString text;
    };

    explicit SelectionList(QWidget *parent = nullptr);

    // Replaces the rows and selects the row of selectedID (no row when absent), without
    // reporting a selection change.
    void setRows(const QList<Row> &rows, const std::optional<QString> &selectedID);
    // Selects the row of id without reporting it.
    void setSelectedID(const std::optional<QString> &id);
    std::optional<QString> selectedID() const;
    QList<Row> rows() const;

Q_SIGNALS:
    void selectionChanged(const QString &id);
    void activated(const QString &id);
    void moveLeft();
    void moveRight();
    void focused();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;

private:
    bool m_updating = false;
};
