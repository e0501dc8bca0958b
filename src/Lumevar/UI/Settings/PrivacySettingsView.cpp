#include "Lumevar/UI/Settings/PrivacySettingsView.h"

#include "Lumevar/Settings/SettingsEditor.h"
#include "Lumevar/Settings/PrivacySettings.h"
#include "Support/UserDefaults.h"

#include <QCheckBox>
#include <QLabel>
#include <QVBoxLayout>

PrivacySettingsView::PrivacySettingsView(SettingsEditor &editor, QWidget *parent)
    : QWidget(parent), m_editor(editor), m_toggle(new QCheckBox(QStringLiteral("Share anonymous usage statistics"), this))
{
    setObjectName(QStringLiteral("privacySettings"));
    auto *explanation = new QLabel(QStringLiteral("Sends which settings and features you use, errors met and session "
                                                  "lengths, with system details, under a random ID."),
                                   this);
    explanation->setObjectName(QStringLiteral("usageStatisticsExplanation"));
    explanation->setWordWrap(true);
    explanation->setForegroundRole(QPalette::PlaceholderText);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->addWidget(m_toggle);
    layout->addWidget(explanation);
    layout->addStretch(1);
    showStoredValue();
    connect(m_toggle, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_showing)
            m_editor.setShareUsageStatistics(on);
    });
    // The stored value may change elsewhere (Reset Data).
    connect(&UserDefaults::standard(), &UserDefaults::changed, this, [this](const QString &key) {
        if (key == PrivacyKeys::shareUsageStatistics || key.isEmpty())
            showStoredValue();
    });
}

void PrivacySettingsView::showStoredValue()
{
    m_showing = true;
    m_toggle->setChecked(UserDefaults::standard().boolValue(PrivacyKeys::shareUsageStatistics));
    m_showing = false;
}
