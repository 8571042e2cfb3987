#include "windows/HiddenNotesWindow.h"

#include "store/NoteController.h"
#include "store/NoteStore.h"
#include "windows/DismissablePanel.h"
#include "windows/ReturnActivatingTableView.h"

#include <QCoreApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSet>
#include <QStandardItemModel>
#include <QVBoxLayout>

HiddenNotesWindow::HiddenNotesWindow(StoreProvider storeProvider, QObject *parent)
    : QObject(parent)
    , m_storeProvider(std::move(storeProvider))
{
    buildPanel();
}

HiddenNotesWindow::~HiddenNotesWindow() = default;

void HiddenNotesWindow::buildPanel()
{
    m_panel = std::make_unique<DismissablePanel>();
    m_panel->setWindowTitle(QCoreApplication::translate("HiddenNotesWindow", "Hidden Notes"));
    m_panel->resize(380, 340);

    auto *explanation = new QLabel(QCoreApplication::translate("HiddenNotesWindow", explanationText), m_panel.get());
    explanation->setWordWrap(true);

    m_model = new QStandardItemModel(this);
    m_table = new ReturnActivatingTableView(m_panel.get());
    m_table->setModel(m_model);
    // A screen reader names the list when the focus enters it, which it does as the panel opens.
    m_table->setAccessibleName(QCoreApplication::translate("HiddenNotesWindow", "Hidden Notes"));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setShowGrid(false);
    m_table->setWordWrap(false);
    m_table->horizontalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(m_table->fontMetrics().height() + 10);
    connect(m_table, &QAbstractItemView::doubleClicked, this, &HiddenNotesWindow::rowDoubleClicked);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &HiddenNotesWindow::updateButtons);

    m_emptyLabel = new QLabel(QCoreApplication::translate("HiddenNotesWindow", emptyText), m_panel.get());
    m_emptyLabel->setAlignment(Qt::AlignCenter);
    m_emptyLabel->setForegroundRole(QPalette::PlaceholderText);
    m_emptyLabel->setAttribute(Qt::WA_TransparentForMouseEvents);

    auto *list = new QGridLayout;
    list->addWidget(m_table, 0, 0);
    list->addWidget(m_emptyLabel, 0, 0, Qt::AlignCenter);

    m_unhideButton = new QPushButton(QCoreApplication::translate("HiddenNotesWindow", "Unhide"), m_panel.get());
    m_unhideAllButton = new QPushButton(QCoreApplication::translate("HiddenNotesWindow", "Unhide All"), m_panel.get());
    // Return belongs to the list (it unhides the row it is on), never to a default button.
    m_unhideButton->setAutoDefault(false);
    m_unhideAllButton->setAutoDefault(false);
    connect(m_unhideButton, &QPushButton::clicked, this, &HiddenNotesWindow::unhideSelected);
    connect(m_unhideAllButton, &QPushButton::clicked, this, &HiddenNotesWindow::unhideAll);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_unhideButton);
    buttons->addWidget(m_unhideAllButton);

    auto *layout = new QVBoxLayout(m_panel.get());
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);
    layout->addWidget(explanation);
    layout->addLayout(list, 1);
    layout->addLayout(buttons);

    reload();
}

QList<NoteController *> HiddenNotesWindow::hidden() const
{
    QList<NoteController *> notes;
    notes.reserve(m_hidden.size());
    for (const QPointer<NoteController> &note : m_hidden)
        notes.append(note.data());
    return notes;
}

void HiddenNotesWindow::show()
{
    reload();
    // Return unhides the row it is on, so a row is chosen from the start: the first one, unless the user's choice
    // from before is still listed.
    // (Through the selection model: the view's selectRow would read the keys still held from the shortcut that
    // opened the panel, Ctrl+Shift, as a request to extend or toggle the selection.)
    if (!m_table->selectionModel()->hasSelection() && !m_hidden.isEmpty())
        m_table->selectionModel()->setCurrentIndex(
            m_model->index(0, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_panel->present();
    m_table->setFocus(Qt::OtherFocusReason);
}

void HiddenNotesWindow::notesChanged()
{
    reload();
}

void HiddenNotesWindow::reload()
{
    QSet<QString> selected;
    for (const QPointer<NoteController> &note : selectedNotes())
        if (note)
            selected.insert(note->note().filename);

    m_hidden.clear();
    if (NoteStore *store = m_storeProvider ? m_storeProvider() : nullptr) {
        for (NoteController *controller : store->controllersByName())
            if (controller->note().meta.hidden)
                m_hidden.append(controller);
    }

    m_model->clear();
    m_model->setColumnCount(1);
    QItemSelection selection;
    for (const QPointer<NoteController> &note : std::as_const(m_hidden)) {
        auto *item = new QStandardItem(note->note().title());
        item->setToolTip(note->note().filename);
        m_model->appendRow(item);
        if (selected.contains(note->note().filename))
            selection.select(item->index(), item->index());
    }
    m_table->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);

    m_emptyLabel->setVisible(m_hidden.isEmpty());
    updateButtons();
}

void HiddenNotesWindow::updateButtons()
{
    m_unhideButton->setEnabled(m_table->selectionModel()->hasSelection());
    m_unhideAllButton->setEnabled(!m_hidden.isEmpty());
}

QList<QPointer<NoteController>> HiddenNotesWindow::selectedNotes() const
{
    QList<QPointer<NoteController>> notes;
    for (const QModelIndex &index : m_table->selectionModel()->selectedRows())
        if (index.row() < m_hidden.size())
            notes.append(m_hidden.at(index.row()));
    return notes;
}

void HiddenNotesWindow::rowDoubleClicked(const QModelIndex &index)
{
    if (!index.isValid() || index.row() >= m_hidden.size())
        return;
    if (const QPointer<NoteController> note = m_hidden.at(index.row()))
        note->unhide(true);
    reload();
}

void HiddenNotesWindow::unhideSelected()
{
    // Taken before the first unhide: each one changes the store's notes, which reloads the list.
    const QList<QPointer<NoteController>> notes = selectedNotes();
    for (const QPointer<NoteController> &note : notes)
        if (note)
            note->unhide(false);
    reload();
}

void HiddenNotesWindow::unhideAll()
{
    if (NoteStore *store = m_storeProvider ? m_storeProvider() : nullptr)
        store->unhideAll();
    reload();
}
