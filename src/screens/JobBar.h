#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

class Job;
class QLabel;
class QProgressBar;
class QPushButton;
class QToolButton;
class QStackedLayout;

// Shows a job: nothing while idle; a spinner or a bar with "Compressing
// page 3 of 10…" and Cancel while it runs; the outcome with "Show in
// Folder", or the failure, until closed.
class JobBar : public QWidget {
    Q_OBJECT
public:
    explicit JobBar(Job *job, QWidget *parent = nullptr);

    // The running text for a label and progress: "Merging…" without a
    // total, "Compressing page 3 of 10…" with one.
    static QString runningText(const QString &label, int done, int total);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void refresh();

    QPointer<Job> m_job;
    QColor m_tint;
    QWidget *m_running = nullptr;
    QProgressBar *m_bar = nullptr;
    QLabel *m_runningText = nullptr;
    QPushButton *m_cancel = nullptr;
    QWidget *m_result = nullptr;
    QLabel *m_symbol = nullptr;
    QLabel *m_title = nullptr;
    QLabel *m_detail = nullptr;
    QPushButton *m_show = nullptr;
    QToolButton *m_close = nullptr;
    QStringList m_urls;
};
