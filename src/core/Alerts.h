#pragma once

#include <QCoreApplication>
#include <QString>
#include <QStringList>

// A modal question or failure report for the user: a message, an informative text and buttons, the first button
// being the default. Core code builds alerts; whoever owns the screen (or the terminal) presents them.
struct Alert {
    enum Style { Informational, Warning };

    Style style = Warning;
    QString message;
    QString informativeText;
    QStringList buttons {QCoreApplication::translate("Alert", "OK")};

    // The usual failure report: a fixed title, the error's description, one "OK" button.
    static Alert failure(const QString &message, const QString &informativeText);
};

// The seam between code that needs an answer and the widget (or test script) that asks the user.
class AlertPresenter {
public:
    virtual ~AlertPresenter();
    // Shows the alert modally and returns the index of the button pressed (0 is the default button).
    virtual int show(const Alert &alert) = 0;
};
