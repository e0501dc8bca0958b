#pragma once
// Whether the application is the active one, as the session statistics and duration signals need
// it: becoming active and resigning. It follows QGuiApplication::applicationStateChanged when the
// application object has that signal (found by name, so this module needs no GUI library); tests
// and hosts without it call setActive() themselves. Main thread only.

#include <QObject>

class ApplicationActivity : public QObject {
    Q_OBJECT
public:
    static ApplicationActivity &shared();

    bool isActive() const { return m_active; }
    // Emits willBecomeActive or didResignActive when the state really changes.
    void setActive(bool active);

Q_SIGNALS:
    void willBecomeActive();
    void didResignActive();

private:
    ApplicationActivity();
    Q_SLOT void applicationStateChanged(Qt::ApplicationState state);

    bool m_active = false;
};
