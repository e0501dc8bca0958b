#pragma once
// The ordered difference between two short arrays, as removals and insertions that turn the old
// array into the new one: removals from the highest offset down (each offset in the old array),
// then insertions from the lowest offset up (each offset in the new array). Elements kept in the
// same relative order are not touched, so a pane whose navigation item stays keeps its list.
// Quadratic in the lengths (a longest common subsequence); meant for paths of a few items.

#include <QList>
#include <vector>

template <typename T>
struct OrderedChange {
    enum Kind { removal, insertion };
    Kind kind;
    int offset;
    T element;
    friend bool operator==(const OrderedChange &, const OrderedChange &) = default;
};

template <typename T>
QList<OrderedChange<T>> orderedDifference(const QList<T> &from, const QList<T> &to)
{
    const int n = int(from.size());
    const int m = int(to.size());
    // common[i][j]: length of the longest common subsequence of from[i..] and to[j..].
    std::vector<std::vector<int>> common(n + 1, std::vector<int>(m + 1, 0));
    for (int i = n - 1; i >= 0; --i)
        for (int j = m - 1; j >= 0; --j)
            common[i][j] = from[i] == to[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);

    std::vector<bool> keptFrom(n, false), keptTo(m, false);
    for (int i = 0, j = 0; i < n && j < m;) {
        if (from[i] == to[j]) {
            keptFrom[i++] = true;
            keptTo[j++] = true;
        } else if (common[i + 1][j] >= common[i][j + 1]) {
            ++i;
        } else {
            ++j;
        }
    }

    QList<OrderedChange<T>> changes;
    for (int i = n - 1; i >= 0; --i)
        if (!keptFrom[i])
            changes.append({OrderedChange<T>::removal, i, from[i]});
    for (int j = 0; j < m; ++j)
        if (!keptTo[j])
            changes.append({OrderedChange<T>::insertion, j, to[j]});
    return changes;
}
