#include "TelemetryDeck/SignalPostBody.h"

#include "Support/Clock.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QJsonDocument>
#include <cmath>

namespace {

QJsonObject toJson(const SignalPostBody &body, const QJsonValue &receivedAt)
{
    QJsonObject payload;
    for (auto it = body.payload.cbegin(); it != body.payload.cend(); ++it)
        payload.insert(it.key(), it.value());
    QJsonObject object{
        {QStringLiteral("receivedAt"), receivedAt},    {QStringLiteral("appID"), body.appID},
        {QStringLiteral("clientUser"), body.clientUser}, {QStringLiteral("sessionID"), body.sessionID},
        {QStringLiteral("type"), body.type},           {QStringLiteral("payload"), payload},
        {QStringLiteral("isTestMode"), body.isTestMode},
    };
    if (body.floatValue)
        object.insert(QStringLiteral("floatValue"), *body.floatValue);
    return object;
}

std::optional<SignalPostBody> fromCacheJson(const QJsonValue &value)
{
    const QJsonObject object = value.toObject();
    const auto text = [&object](const char *key) -> std::optional<QString> {
        const QJsonValue field = object.value(QLatin1String(key));
        return field.isString() ? std::optional(field.toString()) : std::nullopt;
    };
    const QJsonValue receivedAt = object.value(QLatin1String("receivedAt"));
    const QJsonValue payload = object.value(QLatin1String("payload"));
    const QJsonValue floatValue = object.value(QLatin1String("floatValue"));
    const auto appID = text("appID"), clientUser = text("clientUser"), sessionID = text("sessionID"),
               type = text("type"), isTestMode = text("isTestMode");
    if (!receivedAt.isDouble() || !payload.isObject() || !appID || !clientUser || !sessionID || !type || !isTestMode)
        return std::nullopt;
    // A time no clock gives (beyond some 3,000 years either way) is a damaged record; it would
    // also overflow the whole seconds of its wire date.
    if (!(std::abs(receivedAt.toDouble()) < 1e11))
        return std::nullopt;
    if (!floatValue.isUndefined() && !floatValue.isDouble())
        return std::nullopt;
    SignalPostBody body{receivedAt.toDouble(), *appID, *clientUser, *sessionID, *type, std::nullopt, {}, *isTestMode};
    if (floatValue.isDouble())
        body.floatValue = floatValue.toDouble();
    const QJsonObject fields = payload.toObject();
    for (auto it = fields.constBegin(); it != fields.constEnd(); ++it) {
        if (!it.value().isString())
            return std::nullopt;
        body.payload.insert(it.key(), it.value().toString());
    }
    return body;
}

} // namespace

QString SignalPostBody::wireDate(double secondsSinceReferenceDate)
{
    // Whole seconds, cut as a date formatter cuts them, in UTC with the offset written +0000.
    const auto unixSeconds = qint64(std::floor(secondsSinceReferenceDate + referenceDateOffsetFromUnixEpoch));
    return QDateTime::fromSecsSinceEpoch(unixSeconds, Qt::UTC).toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"))
        + QStringLiteral("+0000");
}

std::optional<QByteArray> SignalPostBody::encodeForWire(const QList<SignalPostBody> &batch)
{
    QJsonArray array;
    for (const SignalPostBody &body : batch) {
        if (body.floatValue && !std::isfinite(*body.floatValue))
            return std::nullopt; // JSON has no such number
        array.append(toJson(body, wireDate(body.receivedAt)));
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

QByteArray SignalPostBody::encodeForCache(const QList<SignalPostBody> &signals)
{
    QJsonArray array;
    for (const SignalPostBody &body : signals)
        array.append(toJson(body, body.receivedAt));
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QList<SignalPostBody>> SignalPostBody::decodeFromCache(const QByteArray &data)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    QList<SignalPostBody> signals;
    const QJsonArray array = document.array();
    signals.reserve(array.size());
    for (const QJsonValue &value : array) {
        auto body = fromCacheJson(value);
        if (!body)
            return std::nullopt;
        signals.append(std::move(*body));
    }
    return signals;
}

QString clientUserHash(const QString &user, const QString &salt)
{
    return QString::fromLatin1(QCryptographicHash::hash((user + salt).toUtf8(), QCryptographicHash::Sha256).toHex());
}
