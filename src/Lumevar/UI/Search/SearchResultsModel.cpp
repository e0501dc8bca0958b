#include "Lumevar/UI/Search/SearchResultsModel.h"

void SearchResultsModel::setSections(QList<SearchSection> sections)
{
    beginResetModel();
    m_sections = std::move(sections);
    m_rows.clear();
    for (int s = 0; s < m_sections.size(); ++s) {
        m_rows.append({s, -1});
        for (int r = 0; r < m_sections[s].results.size(); ++r)
            m_rows.append({s, r});
    }
    endResetModel();
}

int SearchResultsModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_rows.size()); }

QVariant SearchResultsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const Row &row = m_rows[index.row()];
    if (role == IsHeaderRole)
        return row.result < 0;
    if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole) {
        const SearchSection &section = m_sections[row.section];
        return row.result < 0 ? section.name : section.results[row.result].name();
    }
    return {};
}

Qt::ItemFlags SearchResultsModel::flags(const QModelIndex &index) const
{
    if (!index.isValid() || isHeader(index.row()))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

bool SearchResultsModel::isHeader(int row) const { return row >= 0 && row < m_rows.size() && m_rows[row].result < 0; }

const SearchResult *SearchResultsModel::result(int row) const
{
    if (row < 0 || row >= m_rows.size() || m_rows[row].result < 0)
        return nullptr;
    return &m_sections[m_rows[row].section].results[m_rows[row].result];
}

int SearchResultsModel::rowOf(const SearchResult &result) const
{
    for (int row = 0; row < m_rows.size(); ++row) {
        if (const SearchResult *shown = this->result(row); shown && *shown == result)
            return row;
    }
    return -1;
}

int SearchResultsModel::nextResultRow(int row, int step) const
{
    for (int next = row + step; next >= 0 && next < m_rows.size(); next += step) {
        if (!isHeader(next))
            return next;
    }
    return -1;
}
