#pragma once
// One Lumevar per profile. The first process of a profile holds a lock file in the folder of its
// store for its whole life and answers on the session bus under a name made from that folder. A
// second launch on the same profile finds the lock held, hands its arguments to the first (which
// raises its window) and ends: two processes syncing one store lose songs. Without a session bus
// the second launch still ends, with a line that says why.
//
// Profiles are told apart by their folder, so copies run for different homes (tests, a second
// account on the same session) never meet.

#include <QObject>
#include <QStringList>
#include <memory>

class QLockFile;

class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Claim {
        // This process has the profile.
        first,
        // Another process has it and took the arguments.
        handedOver,
        // Another process has it and could not be reached.
        alreadyRunning,
    };

    explicit SingleInstance(QString profileFolder, QObject *parent = nullptr);
    ~SingleInstance() override;

    // Takes the profile for this process, or hands arguments to the process that has it. The
    // lock goes with this object.
    Claim claim(const QStringList &arguments);

    // The bus name under which the first process of the profile answers.
    static QString serviceName(const QString &profileFolder);

Q_SIGNALS:
    // A later launch on this profile, with its command line.
    void activated(const QStringList &arguments);

private:
    bool handOver(const QStringList &arguments) const;

    QString m_folder;
    std::unique_ptr<QLockFile> m_lock;
    QObject *m_endpoint = nullptr;
};
