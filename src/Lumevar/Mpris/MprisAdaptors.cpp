#include "Lumevar/Mpris/MprisAdaptors.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/Mpris/MprisService.h"
#include "Lumevar/Mpris/MprisState.h"

MprisRootAdaptor::MprisRootAdaptor(MprisService *service) : QDBusAbstractAdaptor(service), m_service(service) {}

bool MprisRootAdaptor::canQuit() const { return bool(m_service->hooks().quit); }
bool MprisRootAdaptor::canRaise() const { return bool(m_service->hooks().raise); }

void MprisRootAdaptor::Raise()
{
    if (m_service->hooks().raise)
        m_service->hooks().raise();
}

void MprisRootAdaptor::Quit()
{
    if (m_service->hooks().quit)
        m_service->hooks().quit();
}

MprisPlayerAdaptor::MprisPlayerAdaptor(MprisService *service) : QDBusAbstractAdaptor(service), m_service(service) {}

QString MprisPlayerAdaptor::playbackStatus() const { return Mpris::playbackStatus(m_service->model()); }
QString MprisPlayerAdaptor::loopStatus() const { return Mpris::loopStatus(m_service->model().repeatMode()); }

void MprisPlayerAdaptor::setLoopStatus(const QString &status)
{
    if (const std::optional<MusicRepeatMode> mode = Mpris::repeatMode(status))
        m_service->model().setRepeatMode(*mode);
}

bool MprisPlayerAdaptor::shuffle() const { return m_service->model().isShuffled(); }
void MprisPlayerAdaptor::setShuffle(bool shuffle) { m_service->model().setShuffled(shuffle); }
QVariantMap MprisPlayerAdaptor::metadata() const { return Mpris::metadata(m_service->model()); }
qlonglong MprisPlayerAdaptor::position() const { return Mpris::microseconds(m_service->model().currentPlayingTime()); }
bool MprisPlayerAdaptor::canControlPlayback() const { return !m_service->model()._isStopped(); }
bool MprisPlayerAdaptor::canPlay() const { return canControlPlayback() || bool(m_service->hooks().playWhenStopped); }
bool MprisPlayerAdaptor::canSeek() const { return canControlPlayback() && m_service->model()._playingDuration() > 0; }

void MprisPlayerAdaptor::Play() { m_service->play(); }
void MprisPlayerAdaptor::Pause() { m_service->pause(); }
void MprisPlayerAdaptor::PlayPause() { m_service->playPause(); }
void MprisPlayerAdaptor::Stop() { m_service->stop(); }
void MprisPlayerAdaptor::Next() { m_service->next(); }
void MprisPlayerAdaptor::Previous() { m_service->previous(); }
void MprisPlayerAdaptor::Seek(qlonglong Offset) { m_service->seek(Offset); }
void MprisPlayerAdaptor::SetPosition(const QDBusObjectPath &TrackId, qlonglong Position) { m_service->setPosition(TrackId, Position); }
void MprisPlayerAdaptor::OpenUri(const QString &Uri) { m_service->openUri(Uri); }
