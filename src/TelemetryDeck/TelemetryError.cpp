#include "TelemetryDeck/TelemetryError.h"

QString TelemetryError::errorDescription() const
{
    switch (kind) {
    case Kind::unauthorised: return QStringLiteral("Unauthorized (401)");
    case Kind::forbidden: return QStringLiteral("Forbidden (403)");
    case Kind::payloadTooLarge: return QStringLiteral("Payload is too large (413)");
    case Kind::invalidStatusCode: return QStringLiteral("Invalid status code %1").arg(statusCode);
    }
    return {};
}

QString TelemetryError::text() const
{
    switch (kind) {
    case Kind::unauthorised: return QStringLiteral("unauthorised");
    case Kind::forbidden: return QStringLiteral("forbidden");
    case Kind::payloadTooLarge: return QStringLiteral("payloadTooLarge");
    case Kind::invalidStatusCode: return QStringLiteral("invalidStatusCode(%1)").arg(statusCode);
    }
    return {};
}

std::optional<TelemetryError> validateResponse(int httpStatus)
{
    if (httpStatus < 0)
        return TelemetryError{TelemetryError::Kind::invalidStatusCode, 0};
    if (httpStatus >= 200 && httpStatus <= 299)
        return std::nullopt;
    switch (httpStatus) {
    case 401: return TelemetryError{TelemetryError::Kind::unauthorised, 401};
    case 403: return TelemetryError{TelemetryError::Kind::forbidden, 403};
    case 413: return TelemetryError{TelemetryError::Kind::payloadTooLarge, 413};
    default: return TelemetryError{TelemetryError::Kind::invalidStatusCode, httpStatus};
    }
}
