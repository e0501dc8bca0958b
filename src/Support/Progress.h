#pragma once
// Progress of a long operation, such as the full sync of the library: a total unit count (100
// unless set otherwise) and the units completed so far. The operation reports from any thread;
// the main thread shows it.
//
//   auto progress = new Progress(this);                    // made on the main thread
//   connect(progress, &Progress::changed, toast, [=] { ring->setValue(progress->fractionCompleted()); });
//   co_await engine.syncAll(progress);                     // the engine calls addCompletedUnitCount(...)
//
// Every getter and setter is thread-safe. changed() is always emitted on the thread the Progress
// lives in (the main thread): at once for a change made there, and a turn of its event loop later
// for changes made on other threads, several of which may then arrive as one signal. A receiver
// reads the current values in it.

#include <QObject>
#include <atomic>

class Progress : public QObject {
    Q_OBJECT
public:
    // A total of 100 units, none completed.
    explicit Progress(QObject *parent = nullptr);

    qint64 totalUnitCount() const { return m_total.load(); }
    void setTotalUnitCount(qint64 total);

    qint64 completedUnitCount() const { return m_completed.load(); }
    void setCompletedUnitCount(qint64 completed);
    void addCompletedUnitCount(qint64 delta); // atomic: reporters on several threads add up exactly

    // completed / total, kept within 0...1; 0 while the total is not above 0.
    double fractionCompleted() const;
    bool isFinished() const;

Q_SIGNALS:
    void changed();

private:
    void notify();

    std::atomic<qint64> m_total{100};
    std::atomic<qint64> m_completed{0};
    std::atomic<bool> m_notificationPending{false};
};
