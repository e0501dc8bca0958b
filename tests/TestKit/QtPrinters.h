#pragma once
// Readable GoogleTest output for Qt values; force-included into every test target.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <ostream>

inline void PrintTo(const QString &value, std::ostream *os) { *os << '"' << value.toStdString() << '"'; }
inline void PrintTo(const QByteArray &value, std::ostream *os) { *os << '"' << value.toStdString() << '"'; }
inline void PrintTo(const QStringList &value, std::ostream *os)
{
    *os << '[' << value.join(QStringLiteral(", ")).toStdString() << ']';
}
inline void PrintTo(const QVariant &value, std::ostream *os) { *os << value.toString().toStdString(); }
