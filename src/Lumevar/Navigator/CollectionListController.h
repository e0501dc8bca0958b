#pragma once
// The one list of the navigator, apart from its widget: keeps the table and the application's
// selection in step both ways without feedback, remembers a list's scroll place across its
// disappearance, reloads the table only when the sequence of row identifiers changed, coalesces
// repaints of the visible rows, and takes the keyboard focus when the active pane says so.
//
// - Two guards keep the two selections from feeding each other: suppressSelection silences the
//   table while the controller reloads or selects, and isSelecting silences the model while the
//   user selects.
// - The place of a named list is saved in the window's ListScrollState when it leaves the screen and restored
//   when it comes back, but only when its selected row still exists. While scrollRequestCount is
//   above 0, a selection change also scrolls the selected row into view.
// - Main thread only.

#include "Lumevar/Navigator/CollectionListModel.h"
#include "Support/Observable.h"

#include <QCoroTask>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class Clock;
class ListScrollState;
class ListTable;
class ScheduledCall;

class CollectionListController {
public:
    static constexpr double visibleRowsReloadDelay = 0.01; // seconds

    template <typename T>
    struct Binding {
        std::function<T()> get;
        std::function<void(const T &)> set;
    };
    using SelectionBinding = Binding<std::optional<QString>>;
    // How the table came to have the keyboard focus: a key or a click on it, or anything else
    // (a window activation, a focus move by program).
    enum class FocusCause { keyOrMouse, other };

    CollectionListController(CollectionListModel &model, ListScrollState &scrollState, SelectionBinding selection, int tag,
                             std::optional<QString> autosaveName, std::function<void(int row)> doubleClick);
    ~CollectionListController();
    CollectionListController(const CollectionListController &) = delete;
    CollectionListController &operator=(const CollectionListController &) = delete;

    CollectionListModel &model() const { return m_model; }
    int tag() const { return m_tag; }
    const std::optional<QString> &autosaveName() const { return m_autosaveName; }

    // Set by the screen right after construction.
    std::optional<Binding<int>> focusedTag;
    std::vector<ObservationTrackingToken> tokens;
    std::function<QCoro::Task<void>()> task; // started each time the list appears
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled);

    // The table appears: fills it, selects the selection's row and restores the saved place.
    void attach(ListTable *table);
    // The table leaves the screen: its place is saved under the list's name.
    void willDisappear();
    // The table is on screen: runs task, then takes the focus if this is the active pane.
    void didAppear();

    // After the model's items were replaced.
    void reloadItems();
    // After the application's selection changed.
    void updateSelection();
    // After the active pane changed.
    void updateFocus();

    // From the table.
    bool shouldSelectRow(int row);
    void selectionDidChange(int selectedRow);
    void activateSelectedRow();        // Return, Enter, double click
    // The hover play button of a row: selects the row alone, then plays it once the new
    // selection has been taken up by its observers.
    void playRequest(int row);
    void becameFirstResponder(FocusCause cause);
    void reloadVisibleRows();          // coalesced
    void reloadAppearance();

    const QStringList &displayedItemIDs() const { return m_displayedItemIDs; }
    bool isSelecting() const { return m_isSelecting; }

private:
    void reloadTableSilently();
    void actuallyReloadVisibleRows();

    CollectionListModel &m_model;
    ListScrollState &m_scrollState;
    SelectionBinding m_selection;
    const int m_tag;
    const std::optional<QString> m_autosaveName;
    std::function<void(int)> m_doubleClick;
    ListTable *m_table = nullptr;
    bool m_enabled = true;
    QStringList m_displayedItemIDs;
    bool m_isSelecting = false;
    int m_suppressSelection = 0;
    std::unique_ptr<ScheduledCall> m_pendingVisibleRowsReload;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};
