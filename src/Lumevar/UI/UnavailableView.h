#pragma once
// The screen shown in place of the library when the music service refuses access: a symbol, a
// title, an explanation and one button to ask again, and one to sign in to a music server. The explanation is the service's own reason
// when it gives one (a music folder that is missing, say), else the streaming account's words.

#include <QWidget>

class QLabel;
class QPushButton;

class UnavailableView : public QWidget {
    Q_OBJECT
public:
    explicit UnavailableView(QWidget *parent = nullptr);

    static QString titleText();
    static QString descriptionText();

    QPushButton *tryAgainButton() const { return m_tryAgain; }
    QPushButton *signInButton() const { return m_signIn; }
    // The service's reason; empty restores descriptionText().
    void setReason(const QString &reason);
    QString shownDescription() const;

Q_SIGNALS:
    void tryAgainRequested();
    // The Sign In window of a music server.
    void signInRequested();

private:
    QPushButton *m_tryAgain;
    QPushButton *m_signIn;
    QLabel *m_description;
};
