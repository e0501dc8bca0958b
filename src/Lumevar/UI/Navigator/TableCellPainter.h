#pragma once
// Measures and paints one row of a list from its TableCellContent: artwork or glyph at the
// left, title (one or two lines) and subtitle, the chevron of the selected row of the focused
// list, the play/pause button over the artwork under the pointer, and the three now-playing
// bars. Frames come from CellLayout; fonts are the system font at 13 (title, at the settings'
// weight) and 11 points. Holds no state of a row: the list passes it in.

#include "Lumevar/Navigator/ArtworkDisplay.h"
#include "Lumevar/Navigator/TableCellContent.h"
#include "Lumevar/UI/Navigator/ListColors.h"

#include <QFont>
#include <QFontMetricsF>
#include <QHash>
#include <QImage>
#include <QPixmap>

class QPainter;

class TableCellPainter {
public:
    static constexpr double titlePixelSize = 13;
    static constexpr double subtitlePixelSize = 11;

    struct RowState {
        bool selected = false;
        bool emphasized = false;       // selected in the list that has the keyboard focus
        bool alternate = false;        // an odd row while alternating colours are on
        bool pointerInArtwork = false;
        ArtworkState artworkState = ArtworkState::unknown;
        QImage image;                  // for ArtworkState::loaded
        double barsElapsed = 0;        // seconds since the now-playing mark appeared
    };

    TableCellPainter();
    void setAppearance(const CellAppearance &appearance, const QFont &systemFont);
    const CellAppearance &appearance() const { return m_appearance; }

    // The row's height at the given width: two text measures and CellLayout::rowHeight.
    double rowHeight(const TableCellContent &content, double width) const;
    // The artwork slot of a row drawn in rect (for the pointer's hover and clicks).
    QRectF artworkRect(const QRectF &rowRect) const;
    void paint(QPainter &painter, const QRectF &rowRect, const TableCellContent &content, const RowState &state,
               const ListColors &colors, bool gridLine) const;

private:
    double titleHeight(const QString &title, double width) const;
    bool hasSubtitle(const TableCellContent &content) const;
    void paintArtwork(QPainter &painter, const QRectF &rect, const TableCellContent &content, const RowState &state,
                      const ListColors &colors) const;
    void paintTitle(QPainter &painter, const QRectF &rect, const QString &title, const QColor &color) const;
    QPixmap tinted(const QString &symbol, double side, const QColor &color) const;

    CellAppearance m_appearance;
    QFont m_titleFont;
    QFont m_subtitleFont;
    QFontMetricsF m_titleMetrics;
    QFontMetricsF m_subtitleMetrics;
    mutable QHash<QString, QPixmap> m_symbols; // tinted symbols by name, size and colour
};
