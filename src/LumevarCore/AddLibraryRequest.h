#pragma once
// Adds one catalog song to the user's library at the service.

#include <QCoroTask>
#include <QString>

class MusicService;

class AddLibraryRequest {
public:
    explicit AddLibraryRequest(QString songID) : m_songID(std::move(songID)) {}
    // On return the song is in the user's library at the service.
    QCoro::Task<void> perform() const;
    QCoro::Task<void> perform(MusicService &service) const;

private:
    QString m_songID;
};
