#include "app/MessageBoxAlertPresenter.h"

#include "app/AppLog.h"
#include "windows/DialogStacking.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

int MessageBoxAlertPresenter::escapeIndex(const Alert &alert)
{
    // The labels arrive translated; the English ones still count, for alerts made before a translator was installed.
    const QStringList dismissing {QStringLiteral("Cancel"), QStringLiteral("Don't Import"),
        QCoreApplication::translate("Alert", "Cancel"), QCoreApplication::translate("Alert", "Don't Import")};
    for (qsizetype i = 0; i < alert.buttons.size(); ++i) {
        if (dismissing.contains(alert.buttons[i]))
            return int(i);
    }
    return alert.buttons.size() == 1 ? 0 : -1;
}

int MessageBoxAlertPresenter::show(const Alert &alert)
{
    qCDebug(lcApp) << "alert:" << alert.message;
    QMessageBox box(alert.style == Alert::Warning ? QMessageBox::Warning : QMessageBox::Information,
        QApplication::applicationDisplayName(), alert.message, QMessageBox::NoButton, QApplication::activeWindow());
    box.setWindowModality(Qt::ApplicationModal);
    DialogStacking::keepAboveFloatingNotes(&box);
    box.setInformativeText(alert.informativeText);
    // One role for every button keeps them in the order given; the platform would otherwise sort them by role.
    QList<QAbstractButton *> buttons;
    const QStringList labels
        = alert.buttons.isEmpty() ? QStringList {QCoreApplication::translate("Alert", "OK")} : alert.buttons;
    for (const QString &label : labels)
        buttons.append(box.addButton(label, QMessageBox::ActionRole));
    box.setDefaultButton(qobject_cast<QPushButton *>(buttons.first()));
    const int escape = escapeIndex(alert);
    if (escape >= 0)
        box.setEscapeButton(buttons[escape]);
    box.exec();
    return int(buttons.indexOf(box.clickedButton()));
}
