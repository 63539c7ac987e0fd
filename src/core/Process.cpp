#include "core/Process.h"

#include "engine/SafeWrite.h"

#include <QLoggingCategory>

#include <atomic>
#include <csignal>

#include <sys/resource.h>
#include <unistd.h>

namespace Process {

namespace {

std::atomic<void (*)()> g_lastWords{nullptr};

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void onSignal(int signal)
{
    SafeWrite::removeAllInProgress();
    if (auto lastWords = g_lastWords.load())
        lastWords();
    // The default action, unblocked (a handler runs with its signal
    // blocked), so the process ends as if it had never been caught.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    ::sigaction(signal, &fallback, nullptr);
    sigset_t unblock;
    sigemptyset(&unblock);
    sigaddset(&unblock, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &unblock, nullptr);
    ::raise(signal);
    ::_exit(128 + signal);
}

} // namespace

void endCleanlyOnSignals()
{
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // One clean-up at a time: the others wait until the first has ended us.
    for (const int signal : kSignals)
        sigaddset(&action.sa_mask, signal);
    for (const int signal : kSignals) {
        // A signal ignored by whoever started us stays ignored: nohup's
        // SIGHUP, the SIGINT of a job a script put in the background.
        struct sigaction before {};
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN)
            continue;
        ::sigaction(signal, &action, nullptr);
    }
}

void setLastWords(void (*lastWords)())
{
    g_lastWords.store(lastWords);
}

void raiseOpenFileLimit()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max)
        return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit); // a refusal leaves the old limit, which still works
}

void keepLibrariesQuiet()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false\nqt.*.warning=false"));
}

} // namespace Process
