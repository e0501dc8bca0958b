#pragma once
// One pane of the navigator: a list's rows (CollectionListModel), its controller, its table
// (CollectionListView) and the observers that keep them in step with the models. The observers
// live exactly as long as the screen, which the pane controller keeps only while its navigation
// item is in the path: a list that left the path follows nothing.

#include "Lumevar/Navigator/CollectionListController.h"
#include "Support/NotificationCenter.h"

#include <QPointer>
#include <memory>

class CollectionListView;

class PaneScreen {
public:
    PaneScreen(std::unique_ptr<CollectionListModel> model, ListScrollState &scrollState,
               CollectionListController::SelectionBinding selection, int tag,
               std::optional<QString> autosaveName, std::function<void(int row)> activate);
    ~PaneScreen();
    PaneScreen(const PaneScreen &) = delete;
    PaneScreen &operator=(const PaneScreen &) = delete;

    CollectionListModel &model() const { return *m_model; }
    CollectionListController &controller() { return m_controller; }
    CollectionListView *view() const { return m_view; }

    // The table is on the strip: fill it and start the list's work.
    void appear();
    // The table leaves the strip: its scroll place is kept under the list's name.
    void disappear();

private:
    std::unique_ptr<CollectionListModel> m_model;
    CollectionListController m_controller;
    QPointer<CollectionListView> m_view;
    NotificationToken m_reloadVisibleRows;
    NotificationToken m_reloadAppearance;
    bool m_appeared = false;
};
