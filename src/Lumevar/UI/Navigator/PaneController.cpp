#include "Lumevar/UI/Navigator/PaneController.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/Navigator/OrderedDifference.h"
#include "Lumevar/Navigator/PaneStripGeometry.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Lumevar/UI/Navigator/PaneStripView.h"
#include "Support/Animation.h"
#include "Support/Clock.h"
#include "Support/Log.h"

#include <QApplication>
#include <QPointer>

namespace {

// What a screen reader calls a pane's list: the container or collection it shows.
QString accessibleNameOf(const NavigationItem &item)
{
    if (const auto kind = item.containerKind())
        return kind->title();
    if (const auto *collection = item.collection())
        return collection->title;
    return QStringLiteral("Library");
}

} // namespace

PaneController::PaneController(NavigatorModels models, ArtworkSource artwork, QObject *parent)
    : QObject(parent), m_models(models), m_artwork(std::move(artwork)), m_strip(new PaneStripView(models.main))
{
    beep = [] { QApplication::beep(); };
    m_strip->navigateLeft = [this] { navigateLeft(); };
    m_strip->navigateRight = [this] { navigateRight(); };
    m_moveOnToken = NotificationCenter::shared().addObserver(Notifications::navigateRightOnSelection, [this] { navigateRightOnSelection(); });
    m_pathToken = observeChanges(m_models.main._navigationPath, [self = QPointer(this)] {
        if (!self)
            return;
        LUMEVAR_DEBUG(Log::app(), "Updating pods");
        self->updatePanes();
    });
    updatePanes();
}

PaneController::~PaneController()
{
    m_pathToken.reset();
    // The screens delete their tables; the strip goes after them if nobody took it.
    m_screens.clear();
    if (m_strip && !m_strip->parent())
        delete m_strip.data();
}

PaneScreen *PaneController::screen(int pane) const
{
    return pane >= 0 && pane < int(m_screens.size()) ? m_screens[pane].get() : nullptr;
}

void PaneController::updatePanes()
{
    const QList<NavigationItem> path = m_models.main._navigationPath();
    const auto changes = orderedDifference(m_displayedPath, path);
    QList<PaneScreen *> appeared;
    for (const auto &change : changes) {
        if (change.kind == OrderedChange<NavigationItem>::removal) {
            std::unique_ptr<PaneScreen> screen = std::move(m_screens[change.offset]);
            m_screens.erase(m_screens.begin() + change.offset);
            appeared.removeAll(screen.get());
            screen->disappear();
            m_strip->takePane(change.offset);
        } else {
            auto screen = ContainerScreens::make(change.element, m_models, m_artwork);
            screen->view()->setAccessibleName(accessibleNameOf(change.element));
            m_strip->insertPane(change.offset, screen->view());
            appeared.append(screen.get());
            m_screens.insert(m_screens.begin() + change.offset, std::move(screen));
        }
    }
    m_displayedPath = path;
    for (PaneScreen *screen : appeared)
        screen->appear();
    setEnabled(m_enabled);
    // A screen made or shown above may have moved the path itself (a model whose store answered
    // at once, as a first launch's playlist does). This observer is not told of its own turn's
    // writes, so the panes follow that path here.
    if (m_models.main._navigationPath() != m_displayedPath)
        updatePanes();
}

void PaneController::setEnabled(bool enabled)
{
    m_enabled = enabled;
    for (const auto &screen : m_screens)
        screen->controller().setEnabled(enabled);
}

int PaneController::lastPaneIndex() const
{
    return PaneStripGeometry::lastPaneIndex(PaneStripGeometry::isDeepContainer(m_models.main._selectedContainerKindID()));
}

void PaneController::glide(int pane)
{
    runAnimationGroup(glideDuration, true, [this, pane] { m_models.main._activePane.set(pane); });
}

void PaneController::navigateLeft()
{
    const int active = m_models.main._activePane();
    if (active == 0) {
        beep();
        return;
    }
    glide(active - 1);
}

void PaneController::navigateRight()
{
    const int active = m_models.main._activePane();
    if (active == lastPaneIndex()) {
        beep();
        return;
    }
    glide(active + 1);
    // Every pane right of the root lists rows that play, and Return on the row it opens with plays
    // it: the engine starts now rather than at that play.
    m_models.main.expectPlayback();
}

void PaneController::navigateRightOnSelection()
{
    const int active = m_models.main._activePane();
    if (active == lastPaneIndex())
        return;
    if (m_strip->width() != moveOnWidth)
        return; // wider strips show the next pane anyway
    m_strip->layoutPanes();
    Clock::shared().callAfter(moveOnDelay, this, [this] { glide(m_models.main._activePane() + 1); });
}
