#pragma once

#include "engine/Progress.h"

#include <QObject>

#include <QList>
#include <QString>
#include <QStringList>
#include <atomic>

#include <functional>
#include <memory>
#include <mutex>
#include <variant>

// What a finished operation tells the person.
struct Outcome {
    QString title;
    QString detail;
    QStringList urls; // the results, to show in the file manager
    bool operator==(const Outcome &) const = default;
};

// Set by the job (or Ctrl-C), read by the running work.
class CancelFlag {
public:
    void set()
    {
        std::lock_guard lock(m_lock);
        m_value = true;
    }
    bool value() const
    {
        std::lock_guard lock(m_lock);
        return m_value;
    }

private:
    mutable std::mutex m_lock;
    bool m_value = false;
};

using Work = std::function<Outcome(const Progress &, const IsCancelled &)>;

// One long operation of a screen, run off the interface thread.
class Job : public QObject {
    Q_OBJECT
public:
    struct Idle {
        bool operator==(const Idle &) const = default;
    };
    struct Running {
        int done = 0;
        int total = 0;
        QString label;
        bool operator==(const Running &) const = default;
    };
    struct Done {
        Outcome outcome;
        bool operator==(const Done &) const = default;
    };
    struct Failed {
        QString message;
        bool operator==(const Failed &) const = default;
    };
    using State = std::variant<Idle, Running, Done, Failed>;

    explicit Job(QObject *parent = nullptr);

    const State &state() const { return m_state; }
    bool isRunning() const { return std::holds_alternative<Running>(m_state); }

    // Starts the work unless a run is in progress. Interface thread.
    void run(const QString &title, Work work);
    // Asks the running work to stop. Any thread.
    void cancel();
    // Back to idle unless running. Interface thread.
    void reset();
    // Shows a failure found before any work could start (say, the result
    // folder can't be made); ignored while running. Interface thread.
    void fail(const QString &message);

Q_SIGNALS:
    void stateChanged();

private:
    void setState(State state);

    State m_state = Idle{};
    std::atomic<std::shared_ptr<CancelFlag>> m_flag{std::make_shared<CancelFlag>()};
};

// Every job's work still running in this process, also work whose job (and
// screen) is gone: what must end before the window may close. Interface
// thread.
class JobsInFlight : public QObject {
    Q_OBJECT
public:
    static JobsInFlight &instance();
    int count() const { return int(m_flags.size()); }
    // Asks every running work to stop.
    void cancelAll();

Q_SIGNALS:
    // A work began or ended (its temporary files removed by then).
    void countChanged(int count);

private:
    friend class Job;
    void started(const std::shared_ptr<CancelFlag> &flag);
    void ended(const std::shared_ptr<CancelFlag> &flag);

    QList<std::shared_ptr<CancelFlag>> m_flags;
};
