// The system journal as the log of other processes (IncludedLogs::process). Built with libsystemd
// when the build has it; otherwise there is no journal to read and the logs are empty.
#include "DunmoorUIKit/IncludedLogs.h"

#include "Support/Log.h"

#ifdef DUNMOOR_HAVE_JOURNAL
#include <cstring>
#include <systemd/sd-journal.h>

namespace {

QString field(sd_journal *journal, const char *name)
{
    const void *data = nullptr;
    size_t length = 0;
    if (sd_journal_get_data(journal, name, &data, &length) < 0)
        return {};
    const QByteArray bytes(static_cast<const char *>(data), qsizetype(length));
    const qsizetype equals = bytes.indexOf('=');
    return QString::fromUtf8(bytes.mid(equals + 1));
}

} // namespace

QString IncludedLogsDetail::readJournal(const QString &processName)
{
    sd_journal *journal = nullptr;
    if (const int status = sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY); status < 0) {
        LUMEVAR_INFO(Log::app(), "No system journal to read logs from: %@", QString::fromUtf8(strerror(-status)));
        return {};
    }
    // Error priority or worse: emerg 0, alert 1, crit 2, err 3 (matches of one field are ORed).
    for (const char *match : {"PRIORITY=0", "PRIORITY=1", "PRIORITY=2", "PRIORITY=3"})
        sd_journal_add_match(journal, match, 0);
    QString text;
    int status = 0;
    while ((status = sd_journal_next(journal)) > 0) {
        const QString command = field(journal, "_COMM");
        const QString identifier = field(journal, "SYSLOG_IDENTIFIER");
        if (!IncludedLogsDetail::containsFolded(command, processName) &&
            !IncludedLogsDetail::containsFolded(identifier, processName))
            continue;
        const int priority = field(journal, "PRIORITY").toInt();
        // Qt's journald output names its category; other programs' lines have none.
        text += IncludedLogsDetail::line(identifier.isEmpty() ? command : identifier, field(journal, "QT_CATEGORY"),
                                         priority <= 2 ? 5 : 4, field(journal, "MESSAGE"));
    }
    sd_journal_close(journal);
    if (status < 0) {
        LUMEVAR_INFO(Log::app(), "Reading the system journal failed: %@", QString::fromUtf8(strerror(-status)));
        return {};
    }
    return text;
}

#else

QString IncludedLogsDetail::readJournal(const QString &)
{
    return {};
}

#endif
