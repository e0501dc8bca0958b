#include "Lumevar/UI/Navigator/PaneScreen.h"

#include "Lumevar/UI/Navigator/CollectionListView.h"

PaneScreen::PaneScreen(std::unique_ptr<CollectionListModel> model, ListScrollState &scrollState,
                       CollectionListController::SelectionBinding selection, int tag,
                       std::optional<QString> autosaveName, std::function<void(int row)> activate)
    : m_model(std::move(model)), m_controller(*m_model, scrollState, std::move(selection), tag, std::move(autosaveName), std::move(activate)),
      m_view(new CollectionListView(*m_model))
{
    m_view->setController(&m_controller);
    m_view->setObjectName(m_controller.autosaveName().value_or(QStringLiteral("DetailSongsList")));
    m_reloadVisibleRows = NotificationCenter::shared().addObserver(Notifications::reloadVisibleRows,
                                                                   [this] { m_controller.reloadVisibleRows(); });
    m_reloadAppearance = NotificationCenter::shared().addObserver(Notifications::reloadAppearance, [this] {
        if (m_view)
            m_view->reloadAppearance();
        m_controller.reloadAppearance();
    });
}

PaneScreen::~PaneScreen()
{
    if (m_view) // gone already when the window took the strip down first
        disappear();
    m_controller.tokens.clear();
    delete m_view.data(); // before the controller and the model it refers to
}

void PaneScreen::appear()
{
    if (m_appeared || !m_view)
        return;
    m_appeared = true;
    m_controller.attach(m_view);
    m_controller.didAppear();
}

void PaneScreen::disappear()
{
    if (!m_appeared)
        return;
    m_appeared = false;
    m_controller.willDisappear();
}
