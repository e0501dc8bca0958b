#pragma once
// The settings window, opened from the application menu (Ctrl+,): four tabs, "Appearance",
// "Notifications", "Privacy" and "Source". Every change is stored at once; there is nothing to
// confirm. The source of the library is used from the next launch.

#include "Lumevar/Settings/SettingsEditor.h"

#include <QWidget>

class AppearanceSettingsView;
class NotificationsSettingsView;
class PrivacySettingsView;
class SourceSettingsView;
class QTabWidget;

class SettingsWindow : public QWidget {
    Q_OBJECT
public:
    explicit SettingsWindow(QWidget *parent = nullptr);
    ~SettingsWindow() override;

    QTabWidget *tabs() const { return m_tabs; }
    AppearanceSettingsView *appearance() const { return m_appearance; }
    NotificationsSettingsView *notifications() const { return m_notifications; }
    PrivacySettingsView *privacy() const { return m_privacy; }
    SourceSettingsView *source() const { return m_source; }

private:
    SettingsEditor m_editor;
    QTabWidget *m_tabs;
    AppearanceSettingsView *m_appearance;
    NotificationsSettingsView *m_notifications;
    PrivacySettingsView *m_privacy;
    SourceSettingsView *m_source;
};
