#include "DunmoorUIKit/UI/FeedbackView.h"

#include "DunmoorUIKit/UI/KitSymbols.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int minimumFormWidth = 420;
constexpr int idealFormWidth = 520;
constexpr int maximumFormWidth = 680;
constexpr int messageLines = 15;

// A label and its field, the label's text also the field's accessible name ("Message:").
void addRow(QFormLayout *layout, const QString &label, QWidget *field)
{
    auto *title = new QLabel(label);
    title->setBuddy(field);
    field->setAccessibleName(label);
    layout->addRow(title, field);
}

QGroupBox *section(QFormLayout *&layout)
{
    auto *box = new QGroupBox;
    layout = new QFormLayout(box);
    layout->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    return box;
}

} // namespace

FeedbackView::FeedbackView(FeedbackForm::Inputs inputs, QWidget *parent)
    : QWidget(parent, Qt::Window), m_form(new FeedbackForm(std::move(inputs), this))
{
    setWindowTitle(QStringLiteral("Send Feedback"));
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("feedbackView"));

    m_name = new QLineEdit;
    m_name->setObjectName(QStringLiteral("name"));
    m_name->setPlaceholderText(QStringLiteral("optional"));
    m_email = new QLineEdit;
    m_email->setObjectName(QStringLiteral("email"));
    m_email->setPlaceholderText(QStringLiteral("if you want a response"));
    // No autocorrection: a plain line edit offers none; the e-mail field asks input methods for
    // an address keyboard.
    m_email->setInputMethodHints(Qt::ImhEmailCharactersOnly | Qt::ImhNoPredictiveText);
    m_name->setInputMethodHints(Qt::ImhNoPredictiveText);
    m_message = new QPlainTextEdit;
    m_message->setObjectName(QStringLiteral("message"));
    m_message->setTabChangesFocus(true);
    // The space of all fifteen lines is kept, so the window does not grow while typing.
    const QFontMetrics metrics(m_message->font());
    const int frame = 2 * (m_message->frameWidth() + int(m_message->document()->documentMargin()));
    m_message->setFixedHeight(metrics.lineSpacing() * messageLines + frame);

    QFormLayout *people = nullptr;
    QGroupBox *peopleBox = section(people);
    addRow(people, QStringLiteral("Name:"), m_name);
    addRow(people, QStringLiteral("Email:"), m_email);
    QFormLayout *text = nullptr;
    QGroupBox *textBox = section(text);
    addRow(text, QStringLiteral("Message:"), m_message);

    m_send = new QPushButton(KitSymbols::icon(QStringLiteral("paperplane")), QStringLiteral("Send"));
    m_send->setObjectName(QStringLiteral("send"));
    m_send->setDefault(true);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_send);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(peopleBox);
    layout->addWidget(textBox);
    layout->addLayout(buttons);
    // Hugs its content vertically; the width may range between the limits.
    layout->setSizeConstraint(QLayout::SetDefaultConstraint);
    setMinimumWidth(minimumFormWidth);
    setMaximumWidth(maximumFormWidth);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);

    connect(m_name, &QLineEdit::textEdited, m_form, &FeedbackForm::setUserName);
    connect(m_email, &QLineEdit::textEdited, m_form, &FeedbackForm::setUserEmail);
    connect(m_message, &QPlainTextEdit::textChanged, this, [this] {
        if (m_message->toPlainText() != m_form->message())
            m_form->setMessage(m_message->toPlainText());
    });
    connect(m_send, &QPushButton::clicked, m_form, &FeedbackForm::send);
    connect(m_form, &FeedbackForm::changed, this, &FeedbackView::refresh);
    connect(m_form, &FeedbackForm::sendFailed, this, &FeedbackView::showFailure);
    connect(m_form, &FeedbackForm::dismissRequested, this, &QWidget::close);
    refresh();
}

QSize FeedbackView::sizeHint() const
{
    const QSize hint = QWidget::sizeHint();
    return {std::clamp(std::max(idealFormWidth, hint.width()), minimumFormWidth, maximumFormWidth), hint.height()};
}

void FeedbackView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    setFixedHeight(QWidget::sizeHint().height());
    m_form->appear();
}

void FeedbackView::refresh()
{
    const bool editable = !m_form->isSending();
    m_name->setEnabled(editable);
    m_email->setEnabled(editable);
    m_message->setReadOnly(!editable);
    m_message->setEnabled(editable);
    m_send->setEnabled(m_form->canSend());
    if (m_message->toPlainText() != m_form->message())
        m_message->setPlainText(m_form->message());
}

void FeedbackView::showFailure()
{
    // Window-modal and opened, not exec'd: the form's event loop goes on, and the window can
    // still be closed.
    m_alert = new QMessageBox(QMessageBox::Warning, QStringLiteral("Your feedback could not be sent."),
                              QStringLiteral("Your feedback could not be sent."), QMessageBox::Ok, this);
    m_alert->setAttribute(Qt::WA_DeleteOnClose);
    m_alert->setWindowModality(Qt::WindowModal);
    connect(m_alert, &QMessageBox::finished, this, [this] {
        m_alert = nullptr;
        m_form->clearFailure();
    });
    m_alert->open();
}
