#include "DunmoorUIKit/FeedbackForm.h"

#include "Support/Log.h"
#include "Support/Task.h"

#include <QCoroFuture>
#include <QPointer>
#include <QTextBoundaryFinder>
#include <QtConcurrent>

namespace {
constexpr qsizetype minimumLengthExclusive = 10;
}

FeedbackForm::FeedbackForm(Inputs inputs, QObject *parent) : QObject(parent), m_inputs(std::move(inputs)) {}

void FeedbackForm::setUserName(const QString &value)
{
    m_userName = value;
    Q_EMIT changed();
}

void FeedbackForm::setUserEmail(const QString &value)
{
    m_userEmail = value;
    Q_EMIT changed();
}

void FeedbackForm::setMessage(const QString &value)
{
    m_message = value;
    Q_EMIT changed();
}

void FeedbackForm::clearFailure()
{
    m_didFail = false;
    Q_EMIT changed();
}

qsizetype FeedbackForm::visibleLength(const QString &text)
{
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (graphemes.toNextBoundary() > 0)
        ++count;
    return count;
}

bool FeedbackForm::canSend() const
{
    return !m_isSending && visibleLength(m_message) > minimumLengthExclusive;
}

void FeedbackForm::appear()
{
    if (m_appeared)
        return;
    m_appeared = true;
    detach(collectLogs());
}

QCoro::Task<void> FeedbackForm::collectLogs()
{
    if (!m_inputs.includedLogs)
        co_return;
    const IncludedLogs source = *m_inputs.includedLogs;
    QPointer<FeedbackForm> self(this);
    QFuture<QString> reading = QtConcurrent::run([source] { return source.collect(); });
    co_await QFuture<void>(reading);
    if (!self)
        co_return;
    m_logs = reading.result();
    Q_EMIT logsCollected();
    Q_EMIT changed();
}

void FeedbackForm::send()
{
    if (!canSend())
        return;
    detach(sendMessage());
}

QCoro::Task<void> FeedbackForm::sendMessage()
{
    m_isSending = true;
    Q_EMIT changed();
    QPointer<FeedbackForm> self(this);
    // Copies: the window may be closed while the message is on its way, and the send goes on.
    const FeedbackSender sender = m_inputs.sender;
    const QString token = m_inputs.token, email = m_inputs.email, productName = m_inputs.productName;
    const QString userName = m_userName, userEmail = m_userEmail, message = m_message, logs = m_logs;
    bool sent = false;
    try {
        QCoro::Task<void> sending = sender.send(token, email, userName, userEmail, productName, message, logs);
        co_await std::move(sending);
        sent = true;
    } catch (const std::exception &error) {
        LUMEVAR_ERROR(Log::app(), "Failed to send feedback: %@", error);
    }
    if (!self)
        co_return;
    m_isSending = false;
    // Gathered once, when the form appeared: a retry goes without them.
    m_logs.clear();
    if (sent) {
        m_message.clear();
        Q_EMIT changed();
        Q_EMIT dismissRequested();
    } else {
        m_didFail = true;
        Q_EMIT changed();
        Q_EMIT sendFailed();
    }
}
