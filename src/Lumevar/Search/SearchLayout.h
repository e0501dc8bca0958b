#pragma once
// The heights of the search surface: the field row always, and a list that grows by one line per
// section header and per result up to a cap.

#include "LumevarCore/SearchResult.h"

#include <QList>
#include <algorithm>

namespace SearchLayout {

constexpr double fieldRowHeight = 44.0; // the row with the field and the picker
constexpr double listHeightCap = 380.0;
constexpr double listBaseHeight = 20.0; // the list's inset, once when there is a section
constexpr double lineHeight = 40.0;     // one result or one section header
constexpr double minimumRowHeight = 32.0;
constexpr double artworkSide = 32.0;
constexpr double artworkCornerRadius = 4.0;

// Height of the result list: 0 without sections, else the base plus a line for each header and
// each result, at most the cap.
inline double listHeight(const QList<SearchSection> &sections)
{
    if (sections.isEmpty())
        return 0.0;
    double height = listBaseHeight;
    for (const SearchSection &section : sections)
        height += double(section.results.size() + 1) * lineHeight;
    return std::min(height, listHeightCap);
}

// The height the surface asks its panel for.
inline double surfaceHeight(const QList<SearchSection> &sections) { return listHeight(sections) + fieldRowHeight; }

} // namespace SearchLayout
