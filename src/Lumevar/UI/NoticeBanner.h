#pragma once
// A strip across the top of the window with a message that stays until the user closes it or the
// message goes away: for news about the application's own data, which the user should read once
// but which must not block the music.

#include <QWidget>

class QLabel;
class QToolButton;

class NoticeBanner : public QWidget {
    Q_OBJECT
public:
    explicit NoticeBanner(QWidget *parent = nullptr);

    // Shows the text; an empty text hides the banner. Closing hides it until another text comes.
    void setText(const QString &text);
    QString text() const;

private:
    QLabel *m_label;
    QToolButton *m_close;
};
