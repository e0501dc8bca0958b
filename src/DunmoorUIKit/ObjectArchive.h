#pragma once
// The file format of the object cache: a QDataStream archive that names what it holds.
//   magic "DMKA", format version, the stored type's name, the payload, and a check of the payload
// A file of another type, of another format version, cut short, with trailing bytes or with a
// damaged payload is refused with DecodingError, never half-read.

#include "Support/Error.h"

#include <QByteArray>
#include <QDataStream>
#include <concepts>
#include <functional>

// A type the object cache can store: it names itself in the archive and streams through
// QDataStream both ways.
template <typename T>
concept ArchivableObject = std::default_initializable<T> && requires(QDataStream &stream, T &value, const T &constant) {
    { T::archiveType } -> std::convertible_to<const char *>;
    stream << constant;
    stream >> value;
};

namespace ObjectArchive {

inline constexpr quint32 magic = 0x444D4B41; // "DMKA"
inline constexpr quint16 version = 1;

QByteArray archive(const char *type, const std::function<void(QDataStream &)> &writePayload);
// Throws DecodingError unless bytes are a sound archive of type and readPayload read all of it.
void unarchive(const QByteArray &bytes, const char *type, const std::function<void(QDataStream &)> &readPayload);

template <ArchivableObject T>
QByteArray archive(const T &value)
{
    return archive(T::archiveType, [&value](QDataStream &stream) { stream << value; });
}

template <ArchivableObject T>
T unarchive(const QByteArray &bytes)
{
    T value;
    unarchive(bytes, T::archiveType, [&value](QDataStream &stream) { stream >> value; });
    return value;
}

} // namespace ObjectArchive
