#include "Lumevar/UI/Panels/FloatingPanel.h"

#include "Lumevar/UI/ColorScheme.h"
#include "Lumevar/UI/Panels/PanelFrames.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

namespace {

QPainterPath roundedPath(const QRectF &rect, qreal radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

} // namespace

FloatingPanel::FloatingPanel(QWidget *content, Material material, Framer framer, QWidget *window)
    : QWidget(window), m_content(content), m_material(material), m_framer(std::move(framer))
{
    content->setParent(this);
    content->show();
    window->installEventFilter(this);
    reframe();
}

void FloatingPanel::setFramer(Framer framer)
{
    m_framer = std::move(framer);
    reframe();
}

void FloatingPanel::reframe()
{
    if (!m_framer || !parentWidget())
        return;
    const QRectF frame = m_framer(QSizeF(parentWidget()->size()));
    setGeometry(QRect(qRound(frame.x()), qRound(frame.y()), qRound(frame.width()), qRound(frame.height())));
    raise();
}

void FloatingPanel::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // The content fills the backdrop, whatever its own size policy.
    m_content->setGeometry(backdropRect().toRect());
}

QRectF FloatingPanel::backdropRect() const
{
    const qreal inset = PanelFrames::panelInset;
    return QRectF(rect()).adjusted(inset, inset, -inset, -inset);
}

bool FloatingPanel::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parentWidget()) {
        if (event->type() == QEvent::Resize)
            reframe();
        // A widget added to the window later (a new central widget) would otherwise cover the panel.
        else if (event->type() == QEvent::ChildAdded && isVisible())
            raise();
    }
    return QWidget::eventFilter(watched, event);
}

void FloatingPanel::paintEvent(QPaintEvent *)
{
    const QRectF backdrop = backdropRect();
    if (backdrop.isEmpty())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);

    // The shadow: rings growing outward with falling opacity approximate a blur of shadowRadius.
    const QRectF shadow = backdrop.translated(0, shadowOffset);
    const int rings = int(shadowRadius);
    for (int ring = rings; ring >= 1; --ring) {
        const qreal grow = ring;
        const qreal alpha = shadowOpacity * (rings - ring + 1) / (rings * (rings + 1) / 2.0);
        painter.setBrush(QColor::fromRgbF(0, 0, 0, float(alpha)));
        painter.drawPath(roundedPath(shadow.adjusted(-grow, -grow, grow, grow), cornerRadius + grow));
    }

    // The backdrop: the window tone, slightly see-through, with a hairline edge.
    const bool dark = isDarkScheme(palette());
    QColor tone = palette().color(m_material == Material::bar ? QPalette::Window : QPalette::Base);
    tone = m_material == Material::bar ? (dark ? tone.lighter(125) : tone.lighter(104)) : tone;
    tone.setAlphaF(0.94f);
    painter.setBrush(tone);
    painter.setPen(QPen(dark ? QColor(255, 255, 255, 36) : QColor(0, 0, 0, 28), 1));
    painter.drawPath(roundedPath(backdrop.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius));
}
