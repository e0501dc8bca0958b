#include "Lumevar/UI/Settings/SettingsWindow.h"

#include "Lumevar/UI/Icons.h"
#include "Lumevar/UI/Settings/AppearanceSettingsView.h"
#include "Lumevar/UI/Settings/NotificationsSettingsView.h"
#include "Lumevar/UI/Settings/PrivacySettingsView.h"
#include "Lumevar/UI/Settings/SourceSettingsView.h"

#include <QTabWidget>
#include <QVBoxLayout>

SettingsWindow::SettingsWindow(QWidget *parent)
    : QWidget(parent, Qt::Window), m_tabs(new QTabWidget(this)),
      m_appearance(new AppearanceSettingsView(m_editor, m_tabs)), m_notifications(new NotificationsSettingsView(m_editor, m_tabs)),
      m_privacy(new PrivacySettingsView(m_editor, m_tabs)), m_source(new SourceSettingsView(m_tabs))
{
    setObjectName(QStringLiteral("settings"));
    setWindowTitle(QStringLiteral("Settings"));
    m_tabs->setDocumentMode(true);
    // Every tab in sight: the window is as wide as the tabs need in any style, never scrolled.
    m_tabs->setUsesScrollButtons(false);
    m_tabs->addTab(m_appearance, Icons::symbol(QStringLiteral("paintpalette")), QStringLiteral("Appearance"));
    m_tabs->addTab(m_notifications, Icons::symbol(QStringLiteral("bell.badge")), QStringLiteral("Notifications"));
    m_tabs->addTab(m_privacy, Icons::symbol(QStringLiteral("hand.raised")), QStringLiteral("Privacy"));
    m_tabs->addTab(m_source, Icons::symbol(QStringLiteral("server.rack")), QStringLiteral("Source"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 8, 0, 0);
    layout->addWidget(m_tabs);
    setFixedSize(sizeHint().expandedTo(QSize(420, 0)));
}

SettingsWindow::~SettingsWindow() = default;
