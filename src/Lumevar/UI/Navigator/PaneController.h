#pragma once
// Turns MainViewModel's navigation path into the panes of the strip: one PaneScreen per path
// item, pane i showing item i. A path change adds and removes exactly the panes whose items
// changed (an ordered difference), so an item that stays keeps its list, its scroll place and
// its selection; a removed pane ends its observers. Panes appear and vanish at once; only the
// strip's offset glides.
//
// It answers the strip's left and right requests with a glide of the active pane (0.3 s), or a
// beep at either end, and moves on after a click on a row in the one-pane width (exactly 400
// points), a tenth of a second later.

#include "Lumevar/Model/NavigationTypes.h"
#include "Lumevar/UI/Navigator/ContainerScreens.h"
#include "Lumevar/UI/Navigator/PaneStripView.h"
#include "Lumevar/UI/Navigator/RowArtwork.h"
#include "Support/NotificationCenter.h"
#include "Support/Observable.h"

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <vector>

class PaneScreen;
class QWidget;

class PaneController : public QObject {
    Q_OBJECT
public:
    static constexpr double glideDuration = 0.3;         // seconds
    static constexpr double moveOnDelay = 0.1;           // seconds after a click in one-pane width
    static constexpr double moveOnWidth = 400.0;         // the only width at which a click moves on

    PaneController(NavigatorModels models, ArtworkSource artwork, QObject *parent = nullptr);
    ~PaneController() override;

    // The strip, to be placed in the window (the controller keeps ownership of its screens).
    PaneStripView *view() const { return m_strip.data(); }
    // Sounds the end-of-strip beep; QApplication::beep() unless replaced.
    std::function<void()> beep;

    void navigateLeft();
    void navigateRight();
    void navigateRightOnSelection();
    void setEnabled(bool enabled);

    const QList<NavigationItem> &displayedNavigationPath() const { return m_displayedPath; }
    PaneScreen *screen(int pane) const;
    int paneCount() const { return int(m_screens.size()); }

private:
    void updatePanes();
    void glide(int pane);
    int lastPaneIndex() const;

    NavigatorModels m_models;
    ArtworkSource m_artwork;
    QPointer<PaneStripView> m_strip;
    std::vector<std::unique_ptr<PaneScreen>> m_screens;
    QList<NavigationItem> m_displayedPath;
    bool m_enabled = true;
    ObservationTrackingToken m_pathToken;
    NotificationToken m_moveOnToken;
};
