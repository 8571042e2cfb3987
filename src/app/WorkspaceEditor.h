#pragma once

#include <QDialog>

#include <functional>

class QListWidget;
class QPushButton;
class WorkspaceList;

// Lets the user rearrange, remove and add workspaces. The list is written when the user presses Done; leaving it
// empty is reported through lastWorkspaceRemoved so that the application can ask for a folder or quit.
class WorkspaceEditor : public QDialog {
    Q_OBJECT

public:
    WorkspaceEditor(WorkspaceList &workspaces, QWidget *parent = nullptr);

    // Asks for a folder to add; replaced by tests. Returns an empty string when cancelled.
    std::function<QString()> chooseFolder;

    QStringList editedPaths() const;

Q_SIGNALS:
    void lastWorkspaceRemoved();

private:
    void addFolder();
    void removeSelected();
    void moveSelected(int delta);
    void refreshButtons();
    void commit();

    WorkspaceList &m_workspaces;
    QListWidget *m_list;
    QPushButton *m_addButton;
    QPushButton *m_removeButton;
    QPushButton *m_upButton;
    QPushButton *m_downButton;
};
