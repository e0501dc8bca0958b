#pragma once
// The settings window, opened from the application menu (Ctrl+,): three tabs, "Appearance",
// "Notifications" and "Privacy". Every change is stored and applied at once; there is nothing to confirm.

#include "Lumevar/Settings/SettingsEditor.h"

#include <QWidget>

class AppearanceSettingsView;
class NotificationsSettingsView;
class PrivacySettingsView;
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

private:
    SettingsEditor m_editor;
    QTabWidget *m_tabs;
    AppearanceSettingsView *m_appearance;
    NotificationsSettingsView *m_notifications;
    PrivacySettingsView *m_privacy;
};
