#pragma once
// A plain text button that underlines its label while the pointer is over it, with an optional
// symbol after the label (as a link line ends in "arrow.right.circle").

#include <QAbstractButton>
#include <functional>

class HoverUnderlineButton : public QAbstractButton {
    Q_OBJECT
public:
    HoverUnderlineButton(const QString &label, std::function<void()> action, QWidget *parent = nullptr);

    void setTrailingSymbol(const QString &symbolName);
    bool isHovered() const { return m_isHovered; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    QFont labelFont() const;

    std::function<void()> m_action;
    QIcon m_trailing;
    bool m_isHovered = false;
};
