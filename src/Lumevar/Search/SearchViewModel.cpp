#include "Lumevar/Search/SearchViewModel.h"

SearchViewModel::SearchViewModel(QObject *parent) : QObject(parent) {}

void SearchViewModel::activate()
{
    showsSearch.set(true);
    generation.set(generation() + 1);
}

void SearchViewModel::close()
{
    if (showsSearch())
        showsSearch.set(false);
}

QString SearchViewModel::searchQuery(const QString &text)
{
    qsizetype length = std::min<qsizetype>(text.size(), maxQueryLength);
    if (length < text.size() && length > 0 && text.at(length - 1).isHighSurrogate())
        --length;
    QString query = text.left(length);
    for (QChar &c : query) {
        if (c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
            c = QLatin1Char(' ');
    }
    return query;
}
