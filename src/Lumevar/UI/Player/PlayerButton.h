#pragma once
// An icon-only button of the player bar: a drawn symbol, at least 24 by 24, in the label colour,
// or in the accent colour while its mode is on (repeat, shuffle). It takes no keyboard focus, so
// that the keys stay with the lists.

#include <QToolButton>

class PlayerButton : public QToolButton {
    Q_OBJECT
public:
    static constexpr int minimumEdge = 24;
    static constexpr int symbolEdge = 16;

    PlayerButton(const QString &symbolName, const QString &toolTip, QWidget *parent = nullptr);

    QString symbolName() const { return m_symbolName; }
    void setSymbolName(const QString &symbolName);
    bool isTinted() const { return m_tinted; }
    void setTinted(bool tinted);

protected:
    void changeEvent(QEvent *event) override;

private:
    void repaintSymbol();

    QString m_symbolName;
    bool m_tinted = false;
};
