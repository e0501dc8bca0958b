#pragma once
// The "Source" tab of the settings window: the music folder or a music server, the server's address
// and user when one is stored, and "Sign In…". The choice is stored at once and used from the next
// launch, as --library and --server are; choosing the server before any is stored opens the Sign
// In window instead.

#include <QWidget>

class QLabel;
class QPushButton;
class QRadioButton;

class SourceSettingsView : public QWidget {
    Q_OBJECT
public:
    explicit SourceSettingsView(QWidget *parent = nullptr);

    QRadioButton *folderChoice() const { return m_folder; }
    QRadioButton *serverChoice() const { return m_server; }
    QPushButton *signInButton() const { return m_signIn; }
    QString serverText() const;

Q_SIGNALS:
    void signInRequested();

private:
    void showStoredValue();

    QRadioButton *m_folder;
    QRadioButton *m_server;
    QLabel *m_serverDetails;
    QPushButton *m_signIn;
    bool m_showing = false;
};
