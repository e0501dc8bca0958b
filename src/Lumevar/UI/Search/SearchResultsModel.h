#pragma once
// The search results as one flat list for a list view: for each section a header row, then one
// row per result. Header rows can't be selected.

#include "LumevarCore/SearchResult.h"

#include <QAbstractListModel>
#include <optional>

class SearchResultsModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { IsHeaderRole = Qt::UserRole + 1 };

    using QAbstractListModel::QAbstractListModel;

    void setSections(QList<SearchSection> sections);
    const QList<SearchSection> &sections() const { return m_sections; }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    bool isHeader(int row) const;
    // The result shown in a row; none for a header or a row out of range.
    const SearchResult *result(int row) const;
    // The row of a result, -1 when it is not shown.
    int rowOf(const SearchResult &result) const;
    // The first result row after (or before, with step -1) row; -1 when there is none.
    int nextResultRow(int row, int step) const;

private:
    struct Row {
        int section;
        int result; // -1 for the header
    };
    QList<SearchSection> m_sections;
    QList<Row> m_rows;
};
