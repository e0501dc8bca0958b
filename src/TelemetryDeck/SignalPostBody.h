#pragma once
// One signal: the queue's element, the record on the wire and the record in the cache file.
//
// The two encodings differ in receivedAt only, on purpose: the ingestion service reads
// "yyyy-MM-ddTHH:mm:ss+0000" (whole seconds, UTC), while the cache file keeps the number of
// seconds since 1 January 2001 UTC with its fraction, so a record read back from the file is
// exactly the record that was saved. floatValue is left out when absent (never null), and
// isTestMode is the text "true" or "false".

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <optional>

namespace TelemetryDeck {
using Parameters = QMap<QString, QString>;
}

struct SignalPostBody {
    double receivedAt = 0; // seconds since 1 January 2001 UTC
    QString appID;
    QString clientUser;
    QString sessionID;
    QString type;
    std::optional<double> floatValue;
    TelemetryDeck::Parameters payload;
    QString isTestMode = QStringLiteral("false");

    bool operator==(const SignalPostBody &) const = default;

    // The request body of a batch. Fails (nullopt) when a floatValue is not a finite number.
    static std::optional<QByteArray> encodeForWire(const QList<SignalPostBody> &batch);
    static QByteArray encodeForCache(const QList<SignalPostBody> &signals);
    // nullopt when the data is not a JSON array of records.
    static std::optional<QList<SignalPostBody>> decodeFromCache(const QByteArray &data);

    // The wire form of receivedAt, e.g. "2024-05-17T09:30:12+0000".
    static QString wireDate(double secondsSinceReferenceDate);
};

// The hashed client user: lower-case hexadecimal SHA-256 of the user text followed by the salt.
QString clientUserHash(const QString &user, const QString &salt);
