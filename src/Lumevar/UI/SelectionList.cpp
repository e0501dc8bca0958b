#include "Lumevar/UI/SelectionList.h"

#include <QKeyEvent>

namespace {
constexpr int idRole = Qt::UserRole + 1;
}

SelectionList::SelectionList(QWidget *parent) : QListWidget(parent)
{
    setSelectionMode(QAbstractItemView::SingleSelection);
    setUniformItemSizes(true);
    connect(this, &QListWidget::currentItemChanged, this, [this](QListWidgetItem *current) {
        if (!m_updating && current)
            Q_EMIT selectionChanged(current->data(idRole).toString());
    });
    connect(this, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem *item) { Q_EMIT activated(item->data(idRole).toString()); });
}

void SelectionList::setRows(const QList<Row> &rows, const std::optional<QString> &selectedID)
{
    const QSignalBlocker blocker(this);
    m_updating = true;
    clear();
    for (const Row &row : rows) {
        auto *item = new QListWidgetItem(row.text, this);
        item->setData(idRole, row.id);
    }
    m_updating = false;
    setSelectedID(selectedID);
}

void SelectionList::setSelectedID(const std::optional<QString> &id)
{
    m_updating = true;
    QListWidgetItem *found = nullptr;
    if (id) {
        for (int i = 0; i < count() && !found; ++i)
            if (item(i)->data(idRole).toString() == *id)
                found = item(i);
    }
    if (found) {
        setCurrentItem(found);
        scrollToItem(found);
    } else {
        setCurrentRow(-1);
        clearSelection();
    }
    m_updating = false;
}

std::optional<QString> SelectionList::selectedID() const
{
    const QList<QListWidgetItem *> items = selectedItems();
    if (items.isEmpty())
        return std::nullopt;
    return items.constFirst()->data(idRole).toString();
}

QList<SelectionList::Row> SelectionList::rows() const
{
    QList<Row> result;
    for (int i = 0; i < count(); ++i)
        result.append({item(i)->data(idRole).toString(), item(i)->text()});
    return result;
}

void SelectionList::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() == Qt::NoModifier || event->modifiers() == Qt::KeypadModifier) {
        switch (event->key()) {
        case Qt::Key_Left:
            Q_EMIT moveLeft();
            return;
        case Qt::Key_Right:
            Q_EMIT moveRight();
            return;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (const std::optional<QString> id = selectedID())
                Q_EMIT activated(*id);
            return;
        default:
            break;
        }
    }
    QListWidget::keyPressEvent(event);
}

void SelectionList::focusInEvent(QFocusEvent *event)
{
    // Focus alone makes an item view current its first row; that is no choice of the user's.
    const std::optional<QString> before = selectedID();
    m_updating = true;
    QListWidget::focusInEvent(event);
    m_updating = false;
    if (selectedID() != before)
        setSelectedID(before);
    Q_EMIT focused();
}
