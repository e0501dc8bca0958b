#include "Support/Error.h"

#include <QUnhandledException>

Error::Error(QString domain, int code, QString localizedDescription, QString debugDescription)
    : m_domain(std::move(domain)), m_code(code), m_localizedDescription(std::move(localizedDescription)),
      m_debugDescription(std::move(debugDescription))
{
    if (m_debugDescription.isEmpty())
        m_debugDescription = QStringLiteral("%1(%2): %3").arg(m_domain).arg(m_code).arg(m_localizedDescription);
    m_what = m_debugDescription.toUtf8();
}

CancellationError::CancellationError()
    : Error(QStringLiteral("Swift.CancellationError"), 1, QStringLiteral("The operation was cancelled."),
            QStringLiteral("CancellationError()"))
{
}

static QString urlErrorText(URLError::Code code)
{
    switch (code) {
    case URLError::cancelled: return QStringLiteral("cancelled");
    case URLError::badURL: return QStringLiteral("unsupported URL");
    case URLError::timedOut: return QStringLiteral("The request timed out.");
    case URLError::cannotFindHost: return QStringLiteral("A server with the specified hostname could not be found.");
    case URLError::cannotConnectToHost: return QStringLiteral("Could not connect to the server.");
    case URLError::networkConnectionLost: return QStringLiteral("The network connection was lost.");
    case URLError::notConnectedToInternet: return QStringLiteral("The Internet connection appears to be offline.");
    case URLError::badServerResponse: return QStringLiteral("The server returned a bad response.");
    case URLError::fileDoesNotExist: return QStringLiteral("The requested file does not exist.");
    case URLError::unknown: break;
    }
    return QStringLiteral("An unknown network error occurred.");
}

URLError::URLError(Code code, QString detail)
    : Error(QStringLiteral("NSURLErrorDomain"), code, urlErrorText(code),
            QStringLiteral("URLError(%1): %2%3").arg(int(code)).arg(urlErrorText(code),
                                                        detail.isEmpty() ? QString() : QStringLiteral(" ") + detail))
{
}

DecodingError::DecodingError(QString detail)
    : Error(QStringLiteral("Swift.DecodingError"), 1, QStringLiteral("The data couldn't be read because it isn't in the correct format."),
            QStringLiteral("DecodingError.dataCorrupted: ") + detail)
{
}

PlaybackError::PlaybackError(Code code)
    : Error(QStringLiteral("Lumevar.PlaybackError"), code, QStringLiteral("The operation couldn't be completed. (Lumevar.PlaybackError error %1.)").arg(int(code)),
            QStringLiteral("PlaybackError.noSongs"))
{
}

StoreError::StoreError(Code code, QString detail)
    : Error(QStringLiteral("LumevarCore.StoreError"), code, std::move(detail))
{
}

MusicError::MusicError(Code code, QString detail)
    : Error(QStringLiteral("Lumevar.MusicError"), code, std::move(detail))
{
}

Error errorFromCurrentException()
{
    try {
        throw;
    } catch (const Error &error) {
        return error;
    } catch (const QUnhandledException &wrapped) {
        // QtConcurrent wraps foreign exceptions; report the original.
        if (wrapped.exception()) {
            try {
                std::rethrow_exception(wrapped.exception());
            } catch (...) {
                return errorFromCurrentException();
            }
        }
        return Error(QStringLiteral("Lumevar.UnexpectedError"), 0, QStringLiteral("An unknown error occurred."));
    } catch (const std::exception &e) {
        return Error(QStringLiteral("Lumevar.UnexpectedError"), 0, QString::fromUtf8(e.what()));
    } catch (...) {
        return Error(QStringLiteral("Lumevar.UnexpectedError"), 0, QStringLiteral("An unknown error occurred."));
    }
}
