#include "app/WorkspaceEditor.h"

#include "core/WorkspaceList.h"
#include "windows/DialogStacking.h"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

WorkspaceEditor::WorkspaceEditor(WorkspaceList &workspaces, QWidget *parent)
    : QDialog(parent)
    , m_workspaces(workspaces)
    , m_list(new QListWidget(this))
    , m_addButton(new QPushButton(tr("Add Folder…"), this))
    , m_removeButton(new QPushButton(tr("Remove"), this))
    , m_upButton(new QPushButton(tr("Move Up"), this))
    , m_downButton(new QPushButton(tr("Move Down"), this))
{
    setWindowTitle(tr("Edit Workspaces"));
    DialogStacking::keepAboveFloatingNotes(this);
    chooseFolder = [this] { return QFileDialog::getExistingDirectory(this, tr("Add a workspace folder"), QString()); };

    m_list->setDragDropMode(QAbstractItemView::InternalMove);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setMinimumSize(420, 220);
    for (const QString &path : workspaces.paths()) {
        auto *item = new QListWidgetItem(path, m_list);
        item->setToolTip(path);
    }

    auto *explanation = new QLabel(tr("The first ten workspaces get the shortcuts %1 to %2. Drag to reorder.")
                                       .arg(QKeySequence(Qt::CTRL | Qt::Key_1).toString(QKeySequence::NativeText),
                                           QKeySequence(Qt::CTRL | Qt::Key_0).toString(QKeySequence::NativeText)),
        this);
    explanation->setWordWrap(true);

    auto *side = new QVBoxLayout;
    for (QPushButton *button : {m_addButton, m_removeButton, m_upButton, m_downButton})
        side->addWidget(button);
    side->addStretch(1);

    auto *row = new QHBoxLayout;
    row->addWidget(m_list, 1);
    row->addLayout(side);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    QPushButton *done = buttons->addButton(tr("Done"), QDialogButtonBox::AcceptRole);
    done->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &WorkspaceEditor::commit);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(explanation);
    layout->addLayout(row);
    layout->addWidget(buttons);

    connect(m_addButton, &QPushButton::clicked, this, &WorkspaceEditor::addFolder);
    connect(m_removeButton, &QPushButton::clicked, this, &WorkspaceEditor::removeSelected);
    connect(m_upButton, &QPushButton::clicked, this, [this] { moveSelected(-1); });
    connect(m_downButton, &QPushButton::clicked, this, [this] { moveSelected(+1); });
    connect(m_list, &QListWidget::currentRowChanged, this, &WorkspaceEditor::refreshButtons);
    if (m_list->count() > 0)
        m_list->setCurrentRow(0);
    refreshButtons();
}

QStringList WorkspaceEditor::editedPaths() const
{
    QStringList paths;
    for (int i = 0; i < m_list->count(); ++i)
        paths.append(m_list->item(i)->text());
    return paths;
}

void WorkspaceEditor::addFolder()
{
    const QString chosen = chooseFolder ? chooseFolder() : QString();
    if (chosen.isEmpty())
        return;
    const QString path = WorkspaceList::standardisedPath(chosen);
    if (editedPaths().contains(path) || m_list->count() >= WorkspaceList::maxWorkspaces)
        return;
    m_list->addItem(path);
    m_list->setCurrentRow(m_list->count() - 1);
    refreshButtons();
}

void WorkspaceEditor::removeSelected()
{
    const int row = m_list->currentRow();
    if (row < 0)
        return;
    delete m_list->takeItem(row);
    refreshButtons();
}

void WorkspaceEditor::moveSelected(int delta)
{
    const int row = m_list->currentRow();
    const int target = row + delta;
    if (row < 0 || target < 0 || target >= m_list->count())
        return;
    QListWidgetItem *item = m_list->takeItem(row);
    m_list->insertItem(target, item);
    m_list->setCurrentRow(target);
}

void WorkspaceEditor::refreshButtons()
{
    const int row = m_list->currentRow();
    m_removeButton->setEnabled(row >= 0);
    m_upButton->setEnabled(row > 0);
    m_downButton->setEnabled(row >= 0 && row < m_list->count() - 1);
    m_addButton->setEnabled(m_list->count() < WorkspaceList::maxWorkspaces);
}

void WorkspaceEditor::commit()
{
    const QStringList paths = editedPaths();
    m_workspaces.setPaths(paths);
    accept();
    if (paths.isEmpty())
        Q_EMIT lastWorkspaceRemoved();
}
