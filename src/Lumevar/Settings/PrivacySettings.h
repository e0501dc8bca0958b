#pragma once
// The consent to send anonymous usage statistics: "shareUsageStatistics" in Lumevar.conf, false
// until the user turns it on in Settings. UsageStatistics follows it.

#include <QString>

namespace PrivacyKeys {
inline const QString shareUsageStatistics = QStringLiteral("shareUsageStatistics");
} // namespace PrivacyKeys
