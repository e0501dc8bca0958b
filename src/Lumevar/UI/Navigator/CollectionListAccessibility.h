#pragma once
// What a screen reader reads of a navigator list: the list with one child per row (its title as
// the name, its subtitle as the description, selected or not), made only for the rows an assistive
// tool asks for, so a list of 100,000 songs costs nothing until one is read. The list announces
// a moved selection and a reload, and a row's press action activates it as Return does.

class CollectionListView;
class QAccessibleInterface;
class QObject;
class QString;

namespace CollectionListAccessibility {

// The accessibility factory of the list views; installed once by the application.
QAccessibleInterface *factory(const QString &className, QObject *object);
void install();

// Called by the view: the selection moved to row, or the rows were replaced.
void selectionMoved(CollectionListView *view, int row);
void rowsReplaced(CollectionListView *view);

} // namespace CollectionListAccessibility
