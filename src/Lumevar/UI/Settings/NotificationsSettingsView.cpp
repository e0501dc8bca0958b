#include "Lumevar/UI/Settings/NotificationsSettingsView.h"

#include "Lumevar/Settings/SettingsEditor.h"
#include "Support/UserDefaults.h"

#include <QCheckBox>
#include <QVBoxLayout>

NotificationsSettingsView::NotificationsSettingsView(SettingsEditor &editor, QWidget *parent)
    : QWidget(parent), m_editor(editor), m_toggle(new QCheckBox(QStringLiteral("Display Notification When Song Starts Playing"), this))
{
    setObjectName(QStringLiteral("notificationsSettings"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->addWidget(m_toggle, 0, Qt::AlignHCenter);
    layout->addStretch(1);
    showStoredValue();
    connect(m_toggle, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_showing)
            m_editor.setPostNotificationsWhenSongChanges(on);
    });
    // The stored value may change elsewhere (Reset Data, the tray).
    connect(&UserDefaults::standard(), &UserDefaults::changed, this, [this](const QString &key) {
        if (key == AppearanceKeys::postNotificationsWhenSongChanges || key.isEmpty())
            showStoredValue();
    });
}

void NotificationsSettingsView::showStoredValue()
{
    m_showing = true;
    m_toggle->setChecked(AppearanceSettings::postNotificationsWhenSongChanges());
    m_showing = false;
}
