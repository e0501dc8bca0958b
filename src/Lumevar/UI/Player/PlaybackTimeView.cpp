#include "Lumevar/UI/Player/PlaybackTimeView.h"

#include "Lumevar/UI/ColorScheme.h"

#include <QMouseEvent>
#include <QPainter>

PlaybackTimeView::PlaybackTimeView(QWidget *parent) : QWidget(parent)
{
    setFixedHeight(frameHeight);
    setCursor(Qt::PointingHandCursor);
}

qreal PlaybackTimeView::fillWidth(qreal width, double time, double maxTime)
{
    return maxTime > 0 ? width * time / maxTime : 0;
}

double PlaybackTimeView::timeAt(qreal x, qreal width, double maxTime)
{
    return width > 0 ? x / width * maxTime : 0;
}

void PlaybackTimeView::setTimes(double time, double maxTime)
{
    if (time == m_time && maxTime == m_maxTime)
        return;
    m_time = time;
    m_maxTime = maxTime;
    update();
}

void PlaybackTimeView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const bool dark = isDarkScheme(palette());
    const QRectF track(0, height() - barHeight, width(), barHeight);
    painter.fillRect(track, QColor::fromRgbF(float(trackWhite(dark)), float(trackWhite(dark)), float(trackWhite(dark))));
    const qreal fill = std::clamp<qreal>(fillWidth(width(), m_time, m_maxTime), 0, width());
    painter.fillRect(QRectF(track.x(), track.y(), fill, barHeight),
                     QColor::fromRgbF(float(fillWhite(dark)), float(fillWhite(dark)), float(fillWhite(dark))));
}

void PlaybackTimeView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    Q_EMIT timeRequested(timeAt(event->position().x(), width(), m_maxTime));
    event->accept();
}
