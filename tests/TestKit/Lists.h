#pragma once
// One text of every item of a list, in order: song titles, identifiers, section names.

#include <QStringList>
#include <functional>

template <typename List, typename Text>
QStringList textsOf(const List &items, Text text)
{
    QStringList texts;
    for (const auto &item : items)
        texts.append(std::invoke(text, item));
    return texts;
}
