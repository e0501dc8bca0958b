#include "Lumevar/Navigator/NowPlayingBars.h"

#include <cmath>

namespace NowPlayingBars {

QRectF barFrame(double side, int bar)
{
    const double inset = std::trunc((side - groupSide) * 0.5);
    return QRectF(inset + (barWidth + barSpacing) * bar, inset, barWidth, groupSide);
}

double barScale(double elapsed, int bar)
{
    const double t = elapsed - stagger * bar;
    if (t <= 0)
        return minimumScale;
    const double phase = std::fmod(t, 2 * halfPeriod);
    const double rising = phase <= halfPeriod ? phase / halfPeriod : 2 - phase / halfPeriod;
    return minimumScale + (1 - minimumScale) * rising;
}

} // namespace NowPlayingBars
