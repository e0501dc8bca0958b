#pragma once
// How the ingestion service refused a batch, judged by the HTTP status alone.

#include <QString>
#include <optional>

struct TelemetryError {
    enum class Kind { unauthorised, forbidden, payloadTooLarge, invalidStatusCode };
    Kind kind;
    int statusCode = 0;

    // "Unauthorized (401)", "Forbidden (403)", "Payload is too large (413)", "Invalid status code N".
    QString errorDescription() const;
    // The case's name with its status, as the log shows it: "unauthorised", "invalidStatusCode(300)".
    QString text() const;

    bool operator==(const TelemetryError &) const = default;
};

// No error for 200 to 299. A status below 0 stands for a response that is not HTTP.
std::optional<TelemetryError> validateResponse(int httpStatus);
