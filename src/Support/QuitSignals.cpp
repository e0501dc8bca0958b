#include "Support/QuitSignals.h"

#include "Support/Log.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    // Async-signal-safe; a full pipe already holds a quit.
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

} // namespace

void QuitSignals::install()
{
    if (signalPipe[0] >= 0)
        return;
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalPipe) != 0) {
        LUMEVAR_ERROR(Log::app(), "Failed to watch for quit signals: no socket pair");
        return;
    }
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, [] {
        char byte = 0;
        while (::read(signalPipe[0], &byte, 1) > 0) {
        }
        LUMEVAR_INFO(Log::app(), "Quitting on a signal");
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = &onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}
