#pragma once
// The Sign In window: a music server's address, the user name and the password, and "Sign In".
// The server is asked with the credentials before anything is saved; what goes wrong is said in
// the window in the client's words. On success the address and user go to the settings and the
// password to the keyring, and the window says what happens next: the running app takes the
// password at once when it already plays from that server as that user; any other server is used
// from the next launch, with "Relaunch Now" at hand.
//
// At launch, when the keyring has no password to give, the window asks for the password only
// (address and user fixed), saying why; see prompt().

#include "Lumevar/App/ServerSignIn.h"

#include <QDialog>
#include <functional>

class QLabel;
class QLineEdit;
class QPushButton;

// A dialog, not modal: screen readers announce it as one.
class SignInWindow : public QDialog {
    Q_OBJECT
public:
    explicit SignInWindow(QWidget *parent = nullptr);
    ~SignInWindow() override;

    // Where a checked password goes (the keyring unless replaced).
    void setPasswordKeeper(ServerSignIn::PasswordKeeper keeper) { m_keeper = std::move(keeper); }
    // Offered the checked account; true when the running app switched to it.
    void setLiveSwitch(std::function<bool(const SubsonicAccount &)> liveSwitch) { m_liveSwitch = std::move(liveSwitch); }
    // Fills the fields with a stored server and user.
    void fill(const SubsonicAccount &account);
    // Asks for this account's password only, with the reason it is asked.
    void askPassword(const SubsonicAccount &account, const QString &reason);

    // Shows a window that asks for the password; its result is the checked password, or an Error
    // with the reason when the window is closed without one.
    static ServerSignIn::PasswordPrompt prompt();

    QLineEdit *addressField() const { return m_address; }
    QLineEdit *userField() const { return m_user; }
    QLineEdit *passwordField() const { return m_password; }
    QPushButton *signInButton() const { return m_signIn; }
    QPushButton *relaunchButton() const { return m_relaunch; }
    QString errorText() const;
    QString noteText() const;
    QString statusText() const;

Q_SIGNALS:
    // The server accepted the account; live says whether the running app uses it already.
    void signedIn(bool live);
    void relaunchRequested();
    // Asked for a password: the checked password, or empty when closed without one.
    void passwordGiven(const QString &password);

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QCoro::Task<void> submit();
    void showError(const QString &text);
    void showNote(const QString &text);
    void applyErrorColour();

    ServerSignIn::PasswordKeeper m_keeper;
    std::function<bool(const SubsonicAccount &)> m_liveSwitch;
    bool m_asking = false;
    bool m_answered = false;
    bool m_checking = false;
    QLineEdit *m_address;
    QLineEdit *m_user;
    QLineEdit *m_password;
    QLabel *m_note;
    QLabel *m_error;
    QLabel *m_status;
    QPushButton *m_relaunch;
    QPushButton *m_signIn;
};
