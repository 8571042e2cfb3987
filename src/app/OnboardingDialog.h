#pragma once

#include <QDialog>

// The first-run welcome: what Tackpad does with the user's files and with the AI service, to be agreed before the
// first folder is chosen. Refusing quits the application.
class OnboardingDialog : public QDialog {
    Q_OBJECT

public:
    explicit OnboardingDialog(QWidget *parent = nullptr);

    bool agreed() const { return m_agreed; }

    static QString agreeButtonText();
    static QString quitButtonText();

private:
    bool m_agreed = false;
};
