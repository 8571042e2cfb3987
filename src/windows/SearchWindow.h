#pragma once

#include "search/NoteSearch.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class DismissablePanel;
class NoteController;
class NoteStore;
class NoteWindows;
class QLabel;
class QLineEdit;
class QModelIndex;
class ReturnActivatingTableView;

// The search panel: a query field over a table of the notes of the open workspace that hold the query, searched
// again at every keystroke. The arrow keys move through the results without leaving the field; Return, or a
// double-click, opens the chosen note at its match.
//
// Made once; it always searches the store the provider returns now, so it follows workspace switches. The owner
// relays the open store's change signal to notesChanged().
class SearchWindow : public QObject {
    Q_OBJECT
public:
    using StoreProvider = std::function<NoteStore *()>;

    static constexpr const char *placeholderText
        = QT_TRANSLATE_NOOP("SearchWindow", "Search every note in this workspace");
    static constexpr const char *emptyText = QT_TRANSLATE_NOOP("SearchWindow", "No matching notes");

    // The table's model gives each result's title as its display text, and these.
    enum Role { SnippetRole = Qt::UserRole, HiddenRole };

    // Opening a result selects the match in the note's window, found among `windows`.
    SearchWindow(StoreProvider storeProvider, const NoteWindows &windows, QObject *parent = nullptr);
    ~SearchWindow() override;

    DismissablePanel *panel() const { return m_panel.get(); }
    QLineEdit *field() const { return m_field; }
    ReturnActivatingTableView *table() const { return m_table; }
    QLabel *emptyLabel() const { return m_emptyLabel; }
    const QList<NoteSearch::Result> &results() const;
    std::optional<int> selectedRow() const;

    // Searches the field's text over the current store's notes and shows the results, the first one selected so
    // that Return opens the best match at once.
    void runQuery();
    // Moves the selection by delta rows, stopping at either end; with nothing selected, a move up selects the last
    // row and a move down the first.
    void moveSelection(int delta);
    void openSelected();
    // Puts the panel away, brings the result's note to the front (unhiding it) and selects the first occurrence of
    // the query in its text. Nothing when the note is gone.
    void open(const NoteSearch::Result &result);

public Q_SLOTS:
    // Searches afresh and brings the panel to the front with the query field focused and its text selected.
    void show();
    // The open store's notes changed (or another workspace opened): the visible results are refreshed.
    void notesChanged();
    void rowDoubleClicked(const QModelIndex &index);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    class ResultsModel;

    void buildPanel();
    void selectRow(int row);
    QList<NoteSearch::Candidate> candidates();

    StoreProvider m_storeProvider;
    const NoteWindows &m_windows;
    std::unique_ptr<DismissablePanel> m_panel;
    QLineEdit *m_field = nullptr;
    ReturnActivatingTableView *m_table = nullptr;
    QLabel *m_emptyLabel = nullptr;
    ResultsModel *m_model = nullptr;
    // The store's notes in name order, kept between keystrokes: putting ten thousand names in order costs more
    // than searching their texts. Renewed when the store announces a change or another store is open; the notes'
    // texts are read afresh at every query.
    QPointer<NoteStore> m_orderedStore;
    std::vector<QPointer<NoteController>> m_ordered;
    bool m_orderStale = true;
};
