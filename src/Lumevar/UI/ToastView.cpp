#include "Lumevar/UI/ToastView.h"

#include "Lumevar/UI/Icons.h"

#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <algorithm>

namespace {
constexpr int symbolSize = 20;
}

ToastView::ToastView(const QString &symbolName, const QString &label, bool rotatesSymbol, QWidget *parent)
    : QWidget(parent), m_symbolName(symbolName), m_symbol(new QLabel(this)), m_label(new QLabel(label, this)),
      m_progress(new QProgressBar(this))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(8);
    layout->setContentsMargins(12, 8, 12, 8);
    m_symbol->setAlignment(Qt::AlignCenter);
    drawSymbol(0);
    m_progress->setRange(0, 1000);
    m_progress->setTextVisible(false);
    m_progress->setFixedWidth(120);
    m_progress->hide();
    QFont font = m_label->font();
    font.setWeight(QFont::Medium);
    m_label->setFont(font);
    m_label->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_symbol, 0, Qt::AlignHCenter);
    layout->addWidget(m_progress, 0, Qt::AlignHCenter);
    layout->addWidget(m_label, 0, Qt::AlignHCenter);
    if (rotatesSymbol) {
        m_rotation = new QVariantAnimation(this);
        m_rotation->setStartValue(0.0);
        m_rotation->setEndValue(360.0);
        m_rotation->setDuration(1200);
        m_rotation->setLoopCount(-1);
        connect(m_rotation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) { drawSymbol(value.toDouble()); });
    }
}

QString ToastView::label() const { return m_label->text(); }

void ToastView::setProgress(std::optional<double> fraction)
{
    m_progress->setVisible(fraction.has_value());
    m_symbol->setVisible(!fraction.has_value());
    if (fraction)
        m_progress->setValue(int(std::clamp(*fraction, 0.0, 1.0) * 1000));
    adjustSize();
}

bool ToastView::showsProgress() const { return !m_progress->isHidden(); }
bool ToastView::showsSymbol() const { return !m_symbol->isHidden(); }

void ToastView::drawSymbol(double angle)
{
    const qreal ratio = devicePixelRatioF();
    const QPixmap source = Icons::symbol(m_symbolName).pixmap(QSize(symbolSize, symbolSize), ratio);
    QPixmap rotated(source.size());
    rotated.setDevicePixelRatio(ratio);
    rotated.fill(Qt::transparent);
    QPainter painter(&rotated);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(symbolSize / 2.0, symbolSize / 2.0);
    painter.rotate(angle);
    painter.translate(-symbolSize / 2.0, -symbolSize / 2.0);
    painter.drawPixmap(0, 0, source);
    painter.end();
    m_symbol->setPixmap(rotated);
}

void ToastView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor background = palette().color(QPalette::Window);
    background.setAlpha(235);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    painter.fillPath(path, background);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawPath(path);
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
}
