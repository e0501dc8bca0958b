#include "Lumevar/UI/Navigator/CollectionListAccessibility.h"

#include "Lumevar/Navigator/CollectionListModel.h"
#include "Lumevar/Navigator/TableCellContent.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QHash>
#include <QPointer>

namespace {

class ListAccessible;

// One row; lives in the list's cache until the rows are replaced.
class RowAccessible : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    RowAccessible(ListAccessible *list, CollectionListView *view, int row) : m_list(list), m_view(view), m_row(row) {}

    bool isValid() const override { return m_view && m_row < m_view->model().count(); }
    QObject *object() const override { return nullptr; }
    QWindow *window() const override { return m_view ? m_view->window()->windowHandle() : nullptr; }
    QAccessibleInterface *parent() const override;
    QAccessibleInterface *child(int) const override { return nullptr; }
    QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }

    QString text(QAccessible::Text t) const override
    {
        if (!isValid())
            return {};
        if (t == QAccessible::Name)
            return m_view->model().itemTitle(m_row);
        if (t == QAccessible::Description) {
            TableCellContent content;
            m_view->model().configure(content, m_row, ConfigurationType::preview);
            return content.subtitle;
        }
        return {};
    }
    void setText(QAccessible::Text, const QString &) override {}

    QRect rect() const override
    {
        if (!isValid())
            return {};
        const QRect local = m_view->rowRect(m_row);
        return QRect(m_view->viewport()->mapToGlobal(local.topLeft()), local.size());
    }

    QAccessible::State state() const override
    {
        QAccessible::State s;
        if (!isValid()) {
            s.invalid = true;
            return s;
        }
        s.selectable = true;
        s.focusable = true;
        const bool selected = m_view->selectedRow() == m_row;
        s.selected = selected;
        s.focused = selected && m_view->hasFocus();
        const QRect visible = m_view->viewport()->rect();
        s.invisible = !visible.intersects(m_view->rowRect(m_row));
        s.offscreen = s.invisible;
        s.disabled = !m_view->isEnabled();
        return s;
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface *>(this) : nullptr;
    }

    // QAccessibleActionInterface: pressing a row is choosing it and pressing Return.
    QStringList actionNames() const override { return {pressAction()}; }
    QStringList keyBindingsForAction(const QString &) const override { return {QStringLiteral("Return")}; }
    void doAction(const QString &name) override
    {
        if (!isValid() || name != pressAction())
            return;
        m_view->activateRow(m_row);
    }

private:
    ListAccessible *m_list;
    QPointer<CollectionListView> m_view;
    int m_row;
};

class ListAccessible : public QAccessibleWidget {
public:
    explicit ListAccessible(CollectionListView *view) : QAccessibleWidget(view, QAccessible::List) {}
    ~ListAccessible() override { forgetRows(); }

    CollectionListView *view() const { return static_cast<CollectionListView *>(widget()); }

    int childCount() const override { return view()->model().count(); }
    QAccessibleInterface *child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        auto found = m_rows.constFind(index);
        if (found != m_rows.constEnd())
            return QAccessible::accessibleInterface(*found);
        auto *row = new RowAccessible(const_cast<ListAccessible *>(this), view(), index);
        m_rows.insert(index, QAccessible::registerAccessibleInterface(row));
        return row;
    }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        for (auto it = m_rows.constBegin(); it != m_rows.constEnd(); ++it)
            if (QAccessible::accessibleInterface(it.value()) == child)
                return it.key();
        return -1;
    }
    QAccessibleInterface *childAt(int x, int y) const override
    {
        const QPoint local = view()->viewport()->mapFromGlobal(QPoint(x, y));
        const int row = view()->rowAt(local);
        return row >= 0 ? child(row) : nullptr;
    }
    QAccessibleInterface *focusChild() const override
    {
        const int row = view()->selectedRow();
        return row >= 0 ? child(row) : nullptr;
    }

    // The rows are replaced: the interfaces made for the old ones go.
    void forgetRows()
    {
        for (const QAccessible::Id id : std::as_const(m_rows))
            QAccessible::deleteAccessibleInterface(id);
        m_rows.clear();
    }

private:
    mutable QHash<int, QAccessible::Id> m_rows;
};

QAccessibleInterface *RowAccessible::parent() const { return m_list; }

} // namespace

namespace CollectionListAccessibility {

QAccessibleInterface *factory(const QString &className, QObject *object)
{
    if (className == QLatin1String("CollectionListView") && object && object->isWidgetType())
        return new ListAccessible(static_cast<CollectionListView *>(object));
    return nullptr;
}

void install()
{
    static bool installed = false;
    if (!installed)
        QAccessible::installFactory(&factory);
    installed = true;
}

void selectionMoved(CollectionListView *view, int row)
{
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent selection(view, QAccessible::Selection);
    selection.setChild(row);
    QAccessible::updateAccessibility(&selection);
    if (view->hasFocus()) {
        QAccessibleEvent focus(view, QAccessible::Focus);
        focus.setChild(row);
        QAccessible::updateAccessibility(&focus);
    }
}

void rowsReplaced(CollectionListView *view)
{
    // Rows are read by their index, so the interfaces made for the old rows still read right;
    // they are let go only while an assistive tool listens, which then asks again.
    if (!QAccessible::isActive())
        return;
    if (QAccessibleInterface *list = QAccessible::queryAccessibleInterface(view))
        static_cast<ListAccessible *>(list)->forgetRows();
    QAccessibleEvent reordered(view, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&reordered);
}

} // namespace CollectionListAccessibility
