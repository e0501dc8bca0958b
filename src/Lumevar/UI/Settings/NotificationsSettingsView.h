#pragma once
// The "Notifications" tab: the one switch that makes a song change post a desktop notification.

#include <QWidget>

class QCheckBox;
class SettingsEditor;

class NotificationsSettingsView : public QWidget {
    Q_OBJECT
public:
    NotificationsSettingsView(SettingsEditor &editor, QWidget *parent = nullptr);

    QCheckBox *notificationToggle() const { return m_toggle; }

private:
    void showStoredValue();

    SettingsEditor &m_editor;
    QCheckBox *m_toggle;
    bool m_showing = false;
};
