#include "DunmoorUIKit/UI/HoverUnderlineButton.h"

#include "DunmoorUIKit/UI/KitSymbols.h"

#include <QEnterEvent>
#include <QPainter>

namespace {
constexpr int symbolGap = 4; // the width of the space before the symbol
}

HoverUnderlineButton::HoverUnderlineButton(const QString &label, std::function<void()> action, QWidget *parent)
    : QAbstractButton(parent), m_action(std::move(action))
{
    setText(label);
    setAccessibleName(label);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (m_action)
            m_action();
    });
}

void HoverUnderlineButton::setTrailingSymbol(const QString &symbolName)
{
    m_trailing = KitSymbols::icon(symbolName);
    updateGeometry();
    update();
}

QFont HoverUnderlineButton::labelFont() const
{
    QFont f = font();
    f.setUnderline(m_isHovered);
    return f;
}

QSize HoverUnderlineButton::sizeHint() const
{
    const QFontMetrics metrics(font());
    int width = metrics.horizontalAdvance(text());
    if (!m_trailing.isNull())
        width += symbolGap + metrics.height();
    return {width, metrics.height()};
}

void HoverUnderlineButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setFont(labelFont());
    painter.setPen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::Link));
    const QFontMetrics metrics(font());
    const int textWidth = metrics.horizontalAdvance(text());
    painter.drawText(QRect(0, 0, textWidth, height()), Qt::AlignLeft | Qt::AlignVCenter, text());
    if (!m_trailing.isNull()) {
        const int side = metrics.height();
        m_trailing.paint(&painter, QRect(textWidth + symbolGap, (height() - side) / 2, side, side));
    }
}

void HoverUnderlineButton::enterEvent(QEnterEvent *event)
{
    m_isHovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void HoverUnderlineButton::leaveEvent(QEvent *event)
{
    m_isHovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}
