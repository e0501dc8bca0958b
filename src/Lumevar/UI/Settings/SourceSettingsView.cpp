#include "Lumevar/UI/Settings/SourceSettingsView.h"

#include "Lumevar/Settings/MusicSourceSettings.h"
#include "Support/UserDefaults.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

SourceSettingsView::SourceSettingsView(QWidget *parent)
    : QWidget(parent), m_folder(new QRadioButton(QStringLiteral("Music folder on this computer"), this)),
      m_server(new QRadioButton(QStringLiteral("Music server"), this)), m_serverDetails(new QLabel(this)),
      m_signIn(new QPushButton(QStringLiteral("Sign In…"), this))
{
    setObjectName(QStringLiteral("sourceSettings"));
    auto *group = new QButtonGroup(this);
    group->addButton(m_folder);
    group->addButton(m_server);
    m_serverDetails->setObjectName(QStringLiteral("serverDetails"));
    m_serverDetails->setWordWrap(true);
    m_serverDetails->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *when = new QLabel(QStringLiteral("A new choice is used from Lumevar's next launch."), this);
    when->setWordWrap(true);
    when->setForegroundRole(QPalette::PlaceholderText);

    auto *serverRow = new QHBoxLayout;
    serverRow->setContentsMargins(24, 0, 0, 0);
    serverRow->addWidget(m_serverDetails, 1);
    serverRow->addWidget(m_signIn, 0, Qt::AlignTop);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->addWidget(m_folder);
    layout->addWidget(m_server);
    layout->addLayout(serverRow);
    layout->addWidget(when);
    layout->addStretch(1);
    showStoredValue();

    connect(m_folder, &QRadioButton::toggled, this, [this](bool on) {
        if (on && !m_showing)
            MusicSourceSettings::chooseFolder();
    });
    connect(m_server, &QRadioButton::toggled, this, [this](bool on) {
        if (!on || m_showing)
            return;
        if (!MusicSourceSettings::chooseStoredServer()) {
            // No server to choose yet: the folder stays until a sign-in stores one.
            showStoredValue();
            Q_EMIT signInRequested();
        }
    });
    connect(m_signIn, &QPushButton::clicked, this, &SourceSettingsView::signInRequested);
    connect(&UserDefaults::standard(), &UserDefaults::changed, this, [this](const QString &key) {
        if (key.isEmpty() || key == MusicSourceKeys::musicSource || key == MusicSourceKeys::serverAddress ||
            key == MusicSourceKeys::serverUser)
            showStoredValue();
    });
}

QString SourceSettingsView::serverText() const { return m_serverDetails->text(); }

void SourceSettingsView::showStoredValue()
{
    m_showing = true;
    const bool server = MusicSourceSettings::source() == MusicSource::server;
    (server ? m_server : m_folder)->setChecked(true);
    const std::optional<SubsonicAccount> account = MusicSourceSettings::serverAccount();
    m_serverDetails->setText(account ? MusicSourceSettings::describe(*account) : QStringLiteral("No server signed in yet."));
    m_serverDetails->setEnabled(server || !account);
    m_showing = false;
}
