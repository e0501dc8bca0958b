#include "Lumevar/UI/SignInWindow.h"

#include "Lumevar/Settings/MusicSourceSettings.h"
#include "Platform/Subsonic/SubsonicKeyring.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Task.h"

#include <QCoroSignal>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QLabel *wrappingLabel(QWidget *parent, const QString &name)
{
    auto *label = new QLabel(parent);
    label->setObjectName(name);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->hide();
    return label;
}

// A field with its label; the label's text is the field's accessible name.
QLineEdit *addField(QFormLayout *form, QWidget *parent, const QString &text, const QString &name)
{
    auto *field = new QLineEdit(parent);
    field->setObjectName(name);
    field->setAccessibleName(text);
    auto *label = new QLabel(text, parent);
    label->setBuddy(field);
    form->addRow(label, field);
    return field;
}

} // namespace

SignInWindow::SignInWindow(QWidget *parent)
    : QDialog(parent), m_keeper(&SubsonicKeyring::writePassword)
{
    // Made in reading order, which is also the order of Tab and of a screen reader.
    setObjectName(QStringLiteral("signIn"));
    setWindowTitle(QStringLiteral("Sign In"));
    auto *title = new QLabel(QStringLiteral("Sign in to a music server"), this);
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.2);
    font.setBold(true);
    title->setFont(font);
    auto *explanation = new QLabel(QStringLiteral("Lumevar plays the library of a server that speaks the Subsonic API, such as "
                                                  "Navidrome, Airsonic, Gonic or Supysonic."),
                                   this);
    explanation->setWordWrap(true);

    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    m_address = addField(form, this, QStringLiteral("Server address"), QStringLiteral("serverAddress"));
    m_address->setPlaceholderText(QStringLiteral("https://music.example.org"));
    m_user = addField(form, this, QStringLiteral("User name"), QStringLiteral("userName"));
    m_password = addField(form, this, QStringLiteral("Password"), QStringLiteral("password"));
    m_password->setEchoMode(QLineEdit::Password);

    m_note = wrappingLabel(this, QStringLiteral("signInNote"));
    m_error = wrappingLabel(this, QStringLiteral("signInError"));
    m_status = wrappingLabel(this, QStringLiteral("signInStatus"));
    applyErrorColour();

    m_relaunch = new QPushButton(QStringLiteral("Relaunch Now"), this);
    m_signIn = new QPushButton(QStringLiteral("Sign In"), this);
    m_relaunch->hide();
    // Enter in any field presses it (the dialog's default button).
    m_signIn->setDefault(true);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_relaunch);
    buttons->addWidget(m_signIn);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->addWidget(title);
    layout->addWidget(explanation);
    layout->addSpacing(8);
    layout->addLayout(form);
    layout->addWidget(m_note);
    layout->addWidget(m_error);
    layout->addWidget(m_status);
    layout->addStretch(1);
    layout->addLayout(buttons);
    m_address->setFocus();
    setMinimumWidth(360);
    resize(440, sizeHint().height());

    connect(m_signIn, &QPushButton::clicked, this, [this] { detach(submit()); });
    connect(m_relaunch, &QPushButton::clicked, this, &SignInWindow::relaunchRequested);
    // Closed or dismissed with Escape while asking: no password is coming.
    connect(this, &QDialog::finished, this, [this] {
        if (m_asking && !m_answered) {
            m_answered = true;
            Q_EMIT passwordGiven(QString());
        }
    });
}

SignInWindow::~SignInWindow() = default;

void SignInWindow::fill(const SubsonicAccount &account)
{
    // An address given without a scheme is shown so, so that signing in from here tries HTTPS
    // and then, on the local network, plain HTTP, as the launch did.
    m_address->setText(account.httpsAssumed ? account.server.toString(QUrl::RemoveScheme).mid(2) : account.server.toString());
    m_user->setText(account.user);
    m_password->setFocus();
}

void SignInWindow::askPassword(const SubsonicAccount &account, const QString &reason)
{
    fill(account);
    m_asking = true;
    m_address->setReadOnly(true);
    m_user->setReadOnly(true);
    showNote(reason);
    m_password->setFocus();
}

QString SignInWindow::errorText() const { return m_error->isHidden() ? QString() : m_error->text(); }
QString SignInWindow::noteText() const { return m_note->isHidden() ? QString() : m_note->text(); }
QString SignInWindow::statusText() const { return m_status->isHidden() ? QString() : m_status->text(); }

void SignInWindow::showError(const QString &text)
{
    m_error->setText(text);
    m_error->setVisible(!text.isEmpty());
}

void SignInWindow::showNote(const QString &text)
{
    m_note->setText(text);
    m_note->setVisible(!text.isEmpty());
}

void SignInWindow::applyErrorColour()
{
    // A red that reads on the window's own background, light or dark.
    QPalette palette = m_error->palette();
    const bool dark = palette.color(QPalette::Window).lightnessF() < 0.5;
    palette.setColor(QPalette::WindowText, dark ? QColor(255, 110, 100) : QColor(190, 20, 20));
    m_error->setPalette(palette);
}

bool SignInWindow::event(QEvent *event)
{
    const bool handled = QDialog::event(event);
    if (event->type() == QEvent::LayoutRequest) {
        // The window grows with what it shows (a note, an error, the status below the fields),
        // wrapped at its width, rather than squeezing the fields.
        const int needed = layout()->totalHeightForWidth(width());
        if (height() < needed)
            resize(width(), needed);
    }
    return handled;
}

void SignInWindow::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applyErrorColour();
}

QCoro::Task<void> SignInWindow::submit()
{
    if (m_checking)
        co_return;
    QPointer self(this);
    m_checking = true;
    m_signIn->setEnabled(false);
    m_relaunch->hide();
    showError({});
    m_status->setText(QStringLiteral("Checking the server…"));
    m_status->show();
    const QString address = m_address->text();
    const QString user = m_user->text();
    const QString password = m_password->text();
    // The keyring may ask the user to unlock it first: the window says what it waits for.
    ServerSignIn::PasswordKeeper keeper = [self, inner = m_keeper](SubsonicAccount account) {
        if (self)
            self->m_status->setText(QStringLiteral("Saving the password in the keyring…"));
        return inner(std::move(account));
    };
    std::optional<ServerSignIn::Result> result;
    QString failure;
    try {
        result = co_await ServerSignIn::signIn(address, user, password, keeper);
    } catch (...) {
        const Error error = errorFromCurrentException();
        LUMEVAR_ERROR(Log::app(), "Failed to sign in to the server: %@", error.localizedDescription());
        failure = error.localizedDescription();
    }
    if (!self)
        co_return;
    m_checking = false;
    m_signIn->setEnabled(true);
    if (!result) {
        m_status->hide();
        showError(failure);
        co_return;
    }
    m_password->clear();
    showNote(result->passwordKept ? QString() : ServerSignIn::passwordNotKeptNote());
    if (m_asking) {
        m_answered = true;
        Q_EMIT passwordGiven(result->account.password);
        close();
        co_return;
    }
    const QString server = MusicSourceSettings::describe(result->account);
    if (m_liveSwitch && m_liveSwitch(result->account)) {
        m_status->setText(QStringLiteral("Signed in to %1.").arg(server));
        Q_EMIT signedIn(true);
        co_return;
    }
    // Another server or the folder runs now: the player, the store's mirror and the panes were
    // made for it, so the new server takes over at the next launch.
    m_status->setText(QStringLiteral("Signed in to %1. Lumevar plays from this server from its next launch.").arg(server));
    m_relaunch->show();
    Q_EMIT signedIn(false);
}

namespace {

QCoro::Task<QString> askInWindow(SubsonicAccount account, QString reason)
{
    auto *window = new SignInWindow;
    window->askPassword(account, reason);
    window->show();
    window->raise();
    window->activateWindow();
    const QString password = co_await qCoro(window, &SignInWindow::passwordGiven);
    window->deleteLater();
    if (password.isEmpty())
        throw MusicError(MusicError::notAuthorized, reason);
    co_return password;
}

} // namespace

ServerSignIn::PasswordPrompt SignInWindow::prompt() { return &askInWindow; }
