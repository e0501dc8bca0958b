#include "Lumevar/UI/ToastView.h"

#include "Lumevar/UI/ColorScheme.h"
#include "Lumevar/UI/Player/PlayerSymbols.h"

#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <algorithm>

ToastView::ToastView(const QString &symbolName, const QString &label, bool rotatesSymbol, QWidget *parent)
    : QWidget(parent), m_symbolName(symbolName), m_indicator(new QWidget(this)), m_label(new QLabel(label, this))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(8);
    layout->setContentsMargins(12, 8, 12, 8);
    // Tall enough for the progress ring; the symbol sits centred in it.
    m_indicator->setFixedSize(progressSize, progressSize);
    m_indicator->setAttribute(Qt::WA_TransparentForMouseEvents);
    QFont font = m_label->font();
    font.setWeight(QFont::Medium);
    m_label->setFont(font);
    m_label->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_indicator, 0, Qt::AlignHCenter);
    layout->addWidget(m_label, 0, Qt::AlignHCenter);
    if (rotatesSymbol) {
        m_rotation = new QVariantAnimation(this);
        m_rotation->setStartValue(0.0);
        m_rotation->setEndValue(360.0);
        m_rotation->setDuration(1200);
        m_rotation->setLoopCount(-1);
        connect(m_rotation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
            m_angle = value.toDouble();
            update(indicatorRect().toAlignedRect());
        });
    }
}

QString ToastView::label() const { return m_label->text(); }

bool ToastView::isRotating() const { return m_rotation && m_rotation->state() == QAbstractAnimation::Running && showsSymbol(); }

void ToastView::setProgress(std::optional<double> fraction)
{
    if (fraction)
        fraction = std::clamp(*fraction, 0.0, 1.0);
    if (fraction == m_progress)
        return;
    m_progress = fraction;
    update();
}

QRectF ToastView::indicatorRect() const { return QRectF(m_indicator->geometry()); }

void ToastView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // A thick, nearly opaque backdrop of the window tone with a hairline edge.
    const bool dark = isDarkScheme(palette());
    QColor background = palette().color(QPalette::Window);
    background = dark ? background.lighter(130) : background.lighter(103);
    background.setAlpha(240);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    painter.fillPath(path, background);
    painter.setPen(QPen(dark ? QColor(255, 255, 255, 40) : QColor(0, 0, 0, 40), 1));
    painter.drawPath(path);

    const QRectF box = indicatorRect();
    const QColor text = palette().color(QPalette::WindowText);
    if (m_progress) {
        // The circular progress: a faint ring, and the completed arc over it from twelve o'clock.
        const QRectF ring = box.adjusted(2, 2, -2, -2);
        QColor track = text;
        track.setAlphaF(0.15f);
        painter.setPen(QPen(track, 3));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(ring);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 3, Qt::SolidLine, Qt::RoundCap));
        painter.drawArc(ring, 90 * 16, -int(*m_progress * 360 * 16));
        return;
    }
    painter.save();
    painter.translate(box.center());
    painter.rotate(m_angle);
    PlayerSymbols::draw(painter, m_symbolName, QRectF(-symbolSize / 2.0, -symbolSize / 2.0, symbolSize, symbolSize), text);
    painter.restore();
}

void ToastView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_rotation)
        m_rotation->start();
}

void ToastView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (m_rotation)
        m_rotation->stop();
    m_angle = 0;
}
