#include "app/OnboardingDialog.h"

#include "windows/DialogStacking.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

QString OnboardingDialog::agreeButtonText()
{
    return tr("Agree and Continue");
}

QString OnboardingDialog::quitButtonText()
{
    return tr("Quit");
}

OnboardingDialog::OnboardingDialog(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(tr("Welcome to Tackpad"));
    setWindowModality(Qt::ApplicationModal);
    DialogStacking::keepAboveFloatingNotes(this);

    auto *title = new QLabel(tr("<h2>Welcome to Tackpad</h2>"), this);
    auto *text = new QLabel(this);
    text->setWordWrap(true);
    text->setTextFormat(Qt::RichText);
    text->setText(
        tr("<p>Tackpad keeps every sticky note as a <b>plain Markdown file</b> in a folder you choose next. Your notes "
           "never leave that folder: open them in any editor, sync them with any tool, and changes show up in the "
           "note windows at once.</p>"
           "<p>Tackpad adds one line of its own to the top of each note file, holding the note's position, size and "
           "color.</p>"
           "<p><b>AI prompt notes are optional.</b> Only when you apply a prompt note to another note does Tackpad "
           "send the text of both notes to Anthropic, using an API key you enter in Settings. Nothing is sent "
           "otherwise.</p>"));
    text->setMinimumWidth(420);

    auto *buttons = new QDialogButtonBox(this);
    QPushButton *agree = buttons->addButton(agreeButtonText(), QDialogButtonBox::AcceptRole);
    buttons->addButton(quitButtonText(), QDialogButtonBox::RejectRole);
    agree->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        m_agreed = true;
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(text);
    layout->addSpacing(8);
    layout->addWidget(buttons);
}
