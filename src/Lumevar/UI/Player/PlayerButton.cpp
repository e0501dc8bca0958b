#include "Lumevar/UI/Player/PlayerButton.h"

#include "Lumevar/UI/Player/PlayerSymbols.h"

#include <QEvent>

PlayerButton::PlayerButton(const QString &symbolName, const QString &toolTip, QWidget *parent)
    : QToolButton(parent), m_symbolName(symbolName)
{
    setObjectName(symbolName);
    setToolTip(toolTip);
    setAccessibleName(toolTip);
    setAutoRaise(true);
    setFocusPolicy(Qt::NoFocus);
    setToolButtonStyle(Qt::ToolButtonIconOnly);
    setIconSize(QSize(symbolEdge, symbolEdge));
    setMinimumSize(minimumEdge, minimumEdge);
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Minimum);
    repaintSymbol();
}

void PlayerButton::setSymbolName(const QString &symbolName)
{
    if (symbolName == m_symbolName)
        return;
    m_symbolName = symbolName;
    repaintSymbol();
}

void PlayerButton::setTinted(bool tinted)
{
    if (tinted == m_tinted)
        return;
    m_tinted = tinted;
    repaintSymbol();
}

void PlayerButton::changeEvent(QEvent *event)
{
    QToolButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::EnabledChange)
        repaintSymbol();
}

void PlayerButton::repaintSymbol()
{
    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QColor color = palette().color(group, m_tinted ? QPalette::Highlight : QPalette::ButtonText);
    setIcon(PlayerSymbols::icon(m_symbolName, color, symbolEdge));
}
