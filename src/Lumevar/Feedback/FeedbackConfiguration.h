#pragma once
// Where feedback goes: the mail API's address, its server token and the support address. These
// are deployment values, set when the program is built (the CMake cache variables
// LUMEVAR_FEEDBACK_URL, LUMEVAR_FEEDBACK_TOKEN, LUMEVAR_SUPPORT_EMAIL) and overridden by the
// environment variables of the same names. Without a token nothing is sent: the form still opens,
// and Send fails with its alert.

#include "DunmoorUIKit/FeedbackForm.h"

#include <QString>
#include <QUrl>

struct FeedbackConfiguration {
    QUrl apiBase;
    QString token;
    QString supportEmail;

    bool hasToken() const { return !token.isEmpty(); }

    // The build's values, each overridden by its environment variable when that is set.
    static FeedbackConfiguration current();

    // The form's inputs for this application: its name as the product, its own error lines as logs.
    FeedbackForm::Inputs formInputs() const;
};
