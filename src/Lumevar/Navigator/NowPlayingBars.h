#pragma once
// The three-bar now-playing mark: bars 3 wide with 2 between (a group 13 square), centred in
// their square, each growing from its foot between 0.3 and 1.0 of its height in 0.4 seconds and
// back, bar i starting 0.2 × i seconds after the mark appeared.

#include <QRectF>

namespace NowPlayingBars {

inline constexpr int barCount = 3;
inline constexpr double barWidth = 3;
inline constexpr double barSpacing = 2;
inline constexpr double groupSide = barCount * barWidth + (barCount - 1) * barSpacing; // 13
inline constexpr double minimumScale = 0.3;
inline constexpr double halfPeriod = 0.4;  // seconds from minimumScale to 1.0
inline constexpr double stagger = 0.2;     // seconds between the bars' starts

// The full-height frame of bar i in a square of the given side (y downward).
QRectF barFrame(double side, int bar);
// The height scale of bar i, elapsed seconds after the mark appeared (minimumScale before its start).
double barScale(double elapsed, int bar);

} // namespace NowPlayingBars
