#pragma once
// The player's time bar: a thin track with the played part filled, no text. A click at a point
// seeks there; there is no dragging.

#include <QWidget>
#include <functional>

class PlaybackTimeView : public QWidget {
    Q_OBJECT
public:
    static constexpr int barHeight = 2;
    static constexpr int frameHeight = 8;

    explicit PlaybackTimeView(QWidget *parent = nullptr);

    // Width of the played part of a bar `width` wide; 0 when the length is not known (0 or less).
    static qreal fillWidth(qreal width, double time, double maxTime);
    // The time a click at local x of a bar `width` wide asks for.
    static double timeAt(qreal x, qreal width, double maxTime);
    // Track and fill grey levels (0 to 1) in the dark or light scheme.
    static qreal trackWhite(bool dark) { return dark ? 0.3 : 0.8; }
    static qreal fillWhite(bool dark) { return dark ? 0.5 : 0.6; }

    void setTimes(double time, double maxTime);
    double time() const { return m_time; }
    double maxTime() const { return m_maxTime; }

Q_SIGNALS:
    // The user asked for this time (the owner seeks).
    void timeRequested(double seconds);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    double m_time = 0;
    double m_maxTime = 0;
};
