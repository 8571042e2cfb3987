#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class DismissablePanel;
class NoteController;
class NoteStore;
class QLabel;
class QModelIndex;
class QPushButton;
class QStandardItemModel;
class ReturnActivatingTableView;

// The hidden-notes panel: lists the hidden notes of the open workspace and brings them back, one (double-click or
// Return), the selected ones, or all of them.
//
// Made once; it always acts on the store the provider returns now, so it follows workspace switches. The owner
// relays the open store's change signal to notesChanged().
class HiddenNotesWindow : public QObject {
    Q_OBJECT
public:
    using StoreProvider = std::function<NoteStore *()>;

    static constexpr const char *explanationText = QT_TRANSLATE_NOOP("HiddenNotesWindow",
        "Hidden notes stay in the workspace – only their windows are put away. Double-click a note to unhide it.");
    static constexpr const char *emptyText
        = QT_TRANSLATE_NOOP("HiddenNotesWindow", "No hidden notes in this workspace");

    explicit HiddenNotesWindow(StoreProvider storeProvider, QObject *parent = nullptr);
    ~HiddenNotesWindow() override;

    DismissablePanel *panel() const { return m_panel.get(); }
    ReturnActivatingTableView *table() const { return m_table; }
    QLabel *emptyLabel() const { return m_emptyLabel; }
    QPushButton *unhideButton() const { return m_unhideButton; }
    QPushButton *unhideAllButton() const { return m_unhideAllButton; }
    // The hidden notes as listed, in the store's name order; null where a note has gone since the last reload.
    QList<NoteController *> hidden() const;

public Q_SLOTS:
    // Lists the hidden notes afresh and brings the panel to the front.
    void show();
    // Lists the current store's hidden notes, keeping the selected ones selected.
    void reload();
    void notesChanged();
    void rowDoubleClicked(const QModelIndex &index);
    void unhideSelected();
    void unhideAll();

private:
    void buildPanel();
    void updateButtons();
    QList<QPointer<NoteController>> selectedNotes() const;

    StoreProvider m_storeProvider;
    std::unique_ptr<DismissablePanel> m_panel;
    ReturnActivatingTableView *m_table = nullptr;
    QLabel *m_emptyLabel = nullptr;
    QPushButton *m_unhideButton = nullptr;
    QPushButton *m_unhideAllButton = nullptr;
    QStandardItemModel *m_model = nullptr;
    // Guarded: the store deletes a controller when its note goes, and a workspace switch deletes them all.
    QList<QPointer<NoteController>> m_hidden;
};
