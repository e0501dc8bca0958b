#pragma once
// The screen shown in place of the library when the music service refuses access: a symbol, a
// title, an explanation and one button to ask again.

#include <QWidget>

class QPushButton;

class UnavailableView : public QWidget {
    Q_OBJECT
public:
    explicit UnavailableView(QWidget *parent = nullptr);

    static QString titleText();
    static QString descriptionText();

    QPushButton *tryAgainButton() const { return m_tryAgain; }

Q_SIGNALS:
    void tryAgainRequested();

private:
    QPushButton *m_tryAgain;
};
