#pragma once
// The "Privacy" tab: the consent to share anonymous usage statistics, off until the user turns it
// on, with one line saying what is sent.

#include <QWidget>

class QCheckBox;
class SettingsEditor;

class PrivacySettingsView : public QWidget {
    Q_OBJECT
public:
    PrivacySettingsView(SettingsEditor &editor, QWidget *parent = nullptr);

    QCheckBox *usageStatisticsToggle() const { return m_toggle; }

private:
    void showStoredValue();

    SettingsEditor &m_editor;
    QCheckBox *m_toggle;
    bool m_showing = false;
};
