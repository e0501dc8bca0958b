#pragma once
// The heights of a long list's rows where only the rows that came into view were measured: every
// other row counts with an estimate. Answers the top of a row, the row at a height and the total
// height in O(log n) (a Fenwick tree of the heights), so that a list of 100,000 rows opens and
// scrolls without measuring them all.

#include <vector>

class RowHeightIndex {
public:
    // count rows, each of the estimated height and unmeasured.
    void reset(int count, double estimate);
    int count() const { return int(m_heights.size()); }
    double estimate() const { return m_estimate; }

    bool isMeasured(int row) const { return m_measured[row]; }
    double height(int row) const { return m_heights[row]; }
    // Stores a measured height; returns the change of the row's height.
    double setMeasured(int row, double height);
    // Forgets every measure (the width or the appearance changed): back to the estimate.
    void invalidate(double estimate);

    // Top of row (the sum of the heights above it); the total for row == count().
    double top(int row) const;
    double total() const { return top(count()); }
    // The row whose span holds y; the last row for y at or past the end, -1 for an empty list.
    int rowAt(double y) const;

private:
    void add(int row, double delta);

    std::vector<double> m_tree; // 1-based Fenwick tree
    std::vector<double> m_heights;
    std::vector<bool> m_measured;
    double m_estimate = 0;
    int m_highBit = 0;
};
