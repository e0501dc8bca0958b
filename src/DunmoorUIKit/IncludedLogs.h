#pragma once
// Whose error-level log entries go with a feedback message, and reading them as text: one line per
// entry, "<subsystem>; <category>; <level>; <message>", the level numbered as the unified log
// numbers it (1 debug, 2 info, 3 notice, 4 error, 5 fault).
//
// currentProcess reads this process's own entries from LogStore. process(name) reads the system
// journal (where the build has libsystemd) for entries of error priority or worse whose process
// name contains the name, ignoring case and accents. A source that cannot be opened or read gives
// empty text: the message then goes without logs.

#include <QString>

class IncludedLogs {
public:
    static IncludedLogs currentProcess() { return IncludedLogs({}); }
    static IncludedLogs process(QString name) { return IncludedLogs(std::move(name)); }

    bool isCurrentProcess() const { return m_processName.isEmpty(); }
    const QString &processName() const { return m_processName; }

    // Blocking; run it off the main thread.
    QString collect() const;

private:
    explicit IncludedLogs(QString processName) : m_processName(std::move(processName)) {}
    QString m_processName;
};

namespace IncludedLogsDetail {
// One line of the logs' text; a level of -1 marks an entry without log fields: its message alone.
QString line(const QString &subsystem, const QString &category, int level, const QString &message);
// "CONTAINS[cd]": case and diacritics ignored.
bool containsFolded(const QString &text, const QString &part);
// The lines of the system journal, or empty text without a journal.
QString readJournal(const QString &processName);
} // namespace IncludedLogsDetail
