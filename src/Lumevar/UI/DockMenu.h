#pragma once
// The menu of the application's icon outside its window: on Linux the tray icon's menu, on macOS
// the dock menu. It offers the three player commands ("Play"/"Pause", "Next Track",
// "Previous Track"); the tray adds "Show Lumevar" and "Quit Lumevar", since a tray is the only
// way back to a closed window there.

#include <QObject>
#include <QPointer>

class MainViewModel;
class QMenu;
class QSystemTrayIcon;

class DockMenu : public QObject {
    Q_OBJECT
public:
    DockMenu(MainViewModel &model, QObject *parent = nullptr);
    ~DockMenu() override;

    // Fills menu with the three player entries as the model stands now.
    static void addPlayerEntries(QMenu *menu, MainViewModel &model);

    // Shows the tray icon (or installs the dock menu on macOS). False when the desktop has no tray.
    bool install();
    QMenu *menu() const { return m_menu; }

Q_SIGNALS:
    void showWindowRequested();
    void quitRequested();

private:
    void rebuild();

    MainViewModel &m_model;
    QMenu *m_menu;
    QSystemTrayIcon *m_tray = nullptr;
};
