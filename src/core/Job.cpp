#include "core/Job.h"

#include "engine/PDFError.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>

#include <exception>

Job::Job(QObject *parent)
    : QObject(parent)
{
}

void Job::setState(State state)
{
    m_state = std::move(state);
    Q_EMIT stateChanged();
}

void Job::run(const QString &title, Work work)
{
    if (isRunning())
        return;
    auto flag = std::make_shared<CancelFlag>();
    m_flag.store(flag);
    setState(Running{0, 0, title});
    JobsInFlight::instance().started(flag);

    QPointer<Job> self(this);
    QThreadPool::globalInstance()->start([self, title, flag, work = std::move(work)] {
        const Progress progress = [self, title](int done, int total) {
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, title, done, total] {
                    if (self && self->isRunning())
                        self->setState(Running{done, total, title});
                },
                Qt::QueuedConnection);
        };
        const IsCancelled isCancelled = [flag] { return flag->value(); };
        State end;
        try {
            end = Done{work(progress, isCancelled)};
        } catch (const PDFError &e) {
            end = e.isCancelled() ? State(Idle{}) : State(Failed{e.description()});
        } catch (const std::exception &e) {
            end = Failed{QString::fromLocal8Bit(e.what())};
        } catch (...) {
            end = Failed{tr("Something went wrong.")};
        }
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, end, flag] {
                if (self)
                    self->setState(end);
                JobsInFlight::instance().ended(flag);
            },
            Qt::QueuedConnection);
    });
}

void Job::cancel()
{
    m_flag.load()->set();
}

void Job::reset()
{
    if (!isRunning())
        setState(Idle{});
}

void Job::fail(const QString &message)
{
    if (!isRunning())
        setState(Failed{message});
}

JobsInFlight &JobsInFlight::instance()
{
    static JobsInFlight jobs;
    return jobs;
}

void JobsInFlight::cancelAll()
{
    for (const auto &flag : std::as_const(m_flags))
        flag->set();
}

void JobsInFlight::started(const std::shared_ptr<CancelFlag> &flag)
{
    m_flags.append(flag);
    Q_EMIT countChanged(count());
}

void JobsInFlight::ended(const std::shared_ptr<CancelFlag> &flag)
{
    if (m_flags.removeOne(flag))
        Q_EMIT countChanged(count());
}
