#include "Lumevar/Navigator/RowHeightIndex.h"

#include <algorithm>

void RowHeightIndex::reset(int count, double estimate)
{
    m_estimate = estimate;
    m_heights.assign(count, estimate);
    m_measured.assign(count, false);
    // Linear build: each node takes its own value, then hands its sum to its parent.
    m_tree.assign(count + 1, estimate);
    m_tree[0] = 0;
    for (int i = 1; i <= count; ++i) {
        const int parent = i + (i & -i);
        if (parent <= count)
            m_tree[parent] += m_tree[i];
    }
    m_highBit = 1;
    while (m_highBit * 2 <= count)
        m_highBit *= 2;
}

void RowHeightIndex::invalidate(double estimate) { reset(count(), estimate); }

double RowHeightIndex::setMeasured(int row, double height)
{
    m_measured[row] = true;
    const double delta = height - m_heights[row];
    if (delta != 0) {
        m_heights[row] = height;
        add(row, delta);
    }
    return delta;
}

void RowHeightIndex::add(int row, double delta)
{
    for (int i = row + 1; i < int(m_tree.size()); i += i & -i)
        m_tree[i] += delta;
}

double RowHeightIndex::top(int row) const
{
    double sum = 0;
    for (int i = std::min(row, count()); i > 0; i -= i & -i)
        sum += m_tree[i];
    return sum;
}

int RowHeightIndex::rowAt(double y) const
{
    if (m_heights.empty())
        return -1;
    if (y <= 0)
        return 0;
    // Descend the tree: the largest prefix whose sum stays at or below y.
    int position = 0;
    double remaining = y;
    for (int step = m_highBit; step > 0; step /= 2) {
        const int next = position + step;
        if (next < int(m_tree.size()) && m_tree[next] <= remaining) {
            position = next;
            remaining -= m_tree[next];
        }
    }
    return std::min(position, count() - 1);
}
