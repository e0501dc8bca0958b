#include "Lumevar/Navigator/CollectionListController.h"

#include "Lumevar/Model/ListScrollState.h"
#include "Lumevar/Navigator/ListTable.h"
#include "Support/Animation.h"
#include "Support/Clock.h"
#include "Support/Task.h"

#include <QCoreApplication>

namespace {
constexpr double focusAnimationDuration = 0.3;
}

CollectionListController::CollectionListController(CollectionListModel &model, ListScrollState &scrollState,
                                                   SelectionBinding selection, int tag, std::optional<QString> autosaveName,
                                                   std::function<void(int)> doubleClick)
    : m_model(model), m_scrollState(scrollState), m_selection(std::move(selection)), m_tag(tag), m_autosaveName(std::move(autosaveName)),
      m_doubleClick(std::move(doubleClick))
{
}

CollectionListController::~CollectionListController() { *m_alive = false; }

void CollectionListController::setEnabled(bool enabled)
{
    m_enabled = enabled;
    if (m_table)
        m_table->setEnabled(enabled);
}

void CollectionListController::reloadTableSilently()
{
    ++m_suppressSelection;
    m_table->reloadData();
    --m_suppressSelection;
}

void CollectionListController::attach(ListTable *table)
{
    m_table = table;
    m_table->setEnabled(m_enabled);
    const QStringList ids = m_model.itemIDs();
    reloadTableSilently();
    m_displayedItemIDs = ids;
    const std::optional<QString> selected = m_selection.get();
    if (selected && ids.contains(*selected)) {
        ++m_suppressSelection;
        m_table->selectRow(int(ids.indexOf(*selected)));
        --m_suppressSelection;
        if (m_autosaveName) {
            const auto &saved = m_scrollState.savedScrollPositions();
            if (const auto found = saved.constFind(*m_autosaveName); found != saved.constEnd()) {
                m_table->layoutIfNeeded();
                m_table->scrollToPoint(*found);
            }
        }
    }
    if (m_scrollState.scrollRequestCount() > 0)
        updateSelection();
}

void CollectionListController::willDisappear()
{
    if (m_table && m_autosaveName)
        m_scrollState.savedScrollPositions().insert(*m_autosaveName, m_table->scrollPosition());
}

void CollectionListController::didAppear()
{
    // The load runs on its own; the keys come to the active pane at once, not after the load and
    // its sync.
    if (task)
        detach(task());
    updateFocus();
}

void CollectionListController::reloadItems()
{
    if (!m_table)
        return;
    const QStringList ids = m_model.itemIDs();
    if (ids == m_displayedItemIDs)
        return; // same rows: the table keeps them; changes inside reach it at the next repaint
    reloadTableSilently();
    updateSelection();
    m_displayedItemIDs = ids;
}

void CollectionListController::updateSelection()
{
    if (!m_table)
        return;
    const std::optional<QString> selected = m_selection.get();
    if (!selected)
        return;
    const int row = m_model.rowOf(*selected);
    if (row < 0)
        return;
    if (m_table->selectedRow() != row && !m_isSelecting) {
        ++m_suppressSelection;
        m_table->selectRow(row);
        --m_suppressSelection;
    }
    if (m_scrollState.scrollRequestCount() > 0) {
        m_table->layoutIfNeeded();
        m_table->scrollRowToVisible(row);
    }
}

bool CollectionListController::shouldSelectRow(int)
{
    m_isSelecting = true;
    return true;
}

void CollectionListController::selectionDidChange(int selectedRow)
{
    m_isSelecting = false;
    if (m_suppressSelection != 0)
        return;
    if (selectedRow < 0 || selectedRow >= m_model.count())
        return;
    const QString id = m_model.itemID(selectedRow);
    if (m_selection.get() == id)
        return;
    m_selection.set(id);
}

void CollectionListController::activateSelectedRow()
{
    if (!m_table)
        return;
    const int row = m_table->selectedRow();
    if (row >= 0 && row < m_model.count())
        m_doubleClick(row);
}

void CollectionListController::playRequest(int row)
{
    if (!m_table || row < 0 || row >= m_model.count())
        return;
    const std::optional<QString> before = m_selection.get();
    if (shouldSelectRow(row))
        m_table->selectRow(row);
    if (m_selection.get() == before) {
        m_doubleClick(row);
        return;
    }
    // The selection's observers run in the next turn of the event loop, and one of them starts
    // the load of the newly selected collection. Playing now would play the collection selected
    // before, so the play is queued behind them.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [this, alive = std::weak_ptr<bool>(m_alive), row] {
            if (!alive.expired() && row < m_model.count())
                m_doubleClick(row);
        },
        Qt::QueuedConnection);
}

void CollectionListController::updateFocus()
{
    if (!focusedTag || focusedTag->get() != m_tag || !m_table)
        return;
    if (m_table->hasKeyboardFocus())
        return;
    m_table->takeKeyboardFocus();
}

void CollectionListController::becameFirstResponder(FocusCause cause)
{
    if (!focusedTag || cause != FocusCause::keyOrMouse)
        return;
    if (focusedTag->get() == m_tag)
        return;
    runAnimationGroup(focusAnimationDuration, true, [this] { focusedTag->set(m_tag); });
}

void CollectionListController::reloadVisibleRows()
{
    m_pendingVisibleRowsReload = Clock::shared().schedule(visibleRowsReloadDelay, [this] { actuallyReloadVisibleRows(); });
}

void CollectionListController::actuallyReloadVisibleRows()
{
    m_pendingVisibleRowsReload.reset();
    if (m_table)
        m_table->reloadRows(m_table->visibleRows());
}

void CollectionListController::reloadAppearance()
{
    if (!m_table)
        return;
    reloadTableSilently();
    updateSelection();
}
