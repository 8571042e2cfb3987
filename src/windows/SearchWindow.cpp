#include "windows/SearchWindow.h"

#include "editor/MarkdownTextView.h"
#include "store/NoteController.h"
#include "store/NoteStore.h"
#include "windows/DismissablePanel.h"
#include "windows/NoteWindowController.h"
#include "windows/NoteWindows.h"
#include "windows/ReturnActivatingTableView.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QCoreApplication>
#include <QGridLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPalette>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// Looked up when drawn, not when the program loads: the translations are installed later.
QString hiddenMarker()
{
    return QCoreApplication::translate("SearchWindow", "hidden", "after the title of a hidden note");
}

constexpr int padding = 5;

// Keeps the selected row in the selection colour while the focus stays in the query field, where the arrow keys
// move it: an unfocused table would otherwise draw it in the faint inactive colour.
void keepSelectionVisible(QWidget *table)
{
    QPalette palette = table->palette();
    for (const QPalette::ColorRole role : {QPalette::Highlight, QPalette::HighlightedText})
        palette.setBrush(QPalette::Inactive, role, palette.brush(QPalette::Active, role));
    table->setPalette(palette);
}

// One result in two lines: the title in bold, "hidden" after it for hidden notes, and the snippet below in the
// faint colour. Each line is cut with an ellipsis on its own, so that the title (and its marker) never give way
// to a long snippet.
class ResultDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    static int rowHeight(const QFont &font)
    {
        QFont bold = font;
        bold.setBold(true);
        return QFontMetrics(bold).height() + QFontMetrics(font).height() + 3 * padding;
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem item = option;
        initStyleOption(&item, index);
        const QString title = item.text;
        // The style draws the row's background, selection and focus; the text is drawn here.
        item.text.clear();
        const QWidget *widget = item.widget;
        QStyle *style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &item, painter, widget);

        const bool selected = item.state & QStyle::State_Selected;
        const QPalette::ColorGroup group = item.state & QStyle::State_Active ? QPalette::Active : QPalette::Inactive;
        const QColor strong = item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
        QColor faint = selected ? strong : item.palette.color(group, QPalette::PlaceholderText);
        if (selected)
            faint.setAlphaF(0.8f);

        QFont bold = item.font;
        bold.setBold(true);
        const QFontMetrics boldMetrics(bold);
        const QFontMetrics metrics(item.font);
        const QRect area = item.rect.adjusted(padding + 2, padding, -padding - 2, -padding);
        const bool hidden = index.data(SearchWindow::HiddenRole).toBool();
        const int markerWidth = hidden ? metrics.horizontalAdvance(QLatin1Char(' ') + hiddenMarker()) + padding : 0;

        painter->save();
        QRect line(area.left(), area.top(), area.width(), boldMetrics.height());
        const QString shownTitle = boldMetrics.elidedText(title, Qt::ElideRight, area.width() - markerWidth);
        painter->setFont(bold);
        painter->setPen(strong);
        painter->drawText(line, Qt::AlignLeft | Qt::AlignVCenter, shownTitle);
        painter->setFont(item.font);
        painter->setPen(faint);
        if (hidden) {
            const int after = boldMetrics.horizontalAdvance(shownTitle) + padding;
            painter->drawText(line.adjusted(after, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, hiddenMarker());
        }
        line = QRect(area.left(), line.bottom() + 1 + padding, area.width(), metrics.height());
        const QString snippet = index.data(SearchWindow::SnippetRole).toString();
        painter->drawText(
            line, Qt::AlignLeft | Qt::AlignVCenter, metrics.elidedText(snippet, Qt::ElideRight, line.width()));
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        return {QStyledItemDelegate::sizeHint(option, index).width(), rowHeight(option.font)};
    }
};

} // namespace

// The results, one row each: the title as the display text, the snippet and the hidden flag in roles of their own
// for the delegate (and in the accessible text for screen readers).
class SearchWindow::ResultsModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    const QList<NoteSearch::Result> &results() const { return m_results; }

    void setResults(QList<NoteSearch::Result> results)
    {
        beginResetModel();
        m_results = std::move(results);
        endResetModel();
    }

    int rowCount(const QModelIndex &parent) const override { return parent.isValid() ? 0 : int(m_results.size()); }

    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!index.isValid() || index.row() >= m_results.size())
            return {};
        const NoteSearch::Result &result = m_results.at(index.row());
        switch (role) {
        case Qt::DisplayRole:
            return result.title;
        case SnippetRole:
        case Qt::ToolTipRole:
            return result.snippet;
        case HiddenRole:
            return result.hidden;
        case Qt::AccessibleTextRole:
            return result.hidden ? QStringLiteral("%1 (%2): %3").arg(result.title, hiddenMarker(), result.snippet)
                                 : QStringLiteral("%1: %2").arg(result.title, result.snippet);
        default:
            return {};
        }
    }

private:
    QList<NoteSearch::Result> m_results;
};

SearchWindow::SearchWindow(StoreProvider storeProvider, const NoteWindows &windows, QObject *parent)
    : QObject(parent)
    , m_storeProvider(std::move(storeProvider))
    , m_windows(windows)
{
    buildPanel();
}

SearchWindow::~SearchWindow() = default;

void SearchWindow::buildPanel()
{
    m_panel = std::make_unique<DismissablePanel>();
    m_panel->setWindowTitle(QCoreApplication::translate("SearchWindow", "Search Notes"));
    m_panel->resize(560, 380);

    m_field = new QLineEdit(m_panel.get());
    m_field->setPlaceholderText(QCoreApplication::translate("SearchWindow", placeholderText));
    m_field->setClearButtonEnabled(true);
    // The placeholder is gone once the user types; screen readers need a name that stays.
    m_field->setAccessibleName(QCoreApplication::translate("SearchWindow", "Search Notes"));
    m_field->installEventFilter(this);

    m_model = new ResultsModel(this);
    m_table = new ReturnActivatingTableView(m_panel.get());
    m_table->setModel(m_model);
    m_table->setAccessibleName(QCoreApplication::translate("SearchWindow", "Results"));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setItemDelegate(new ResultDelegate(m_table));
    m_table->setShowGrid(false);
    m_table->horizontalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(ResultDelegate::rowHeight(m_table->font()));
    // The focus starts in the query field, whose arrow keys move through the results; Tab still reaches the table,
    // where a screen reader reads out each row the arrow keys move to.
    m_table->setFocusPolicy(Qt::StrongFocus);
    keepSelectionVisible(m_table);
    connect(m_table, &QAbstractItemView::doubleClicked, this, &SearchWindow::rowDoubleClicked);

    m_emptyLabel = new QLabel(QCoreApplication::translate("SearchWindow", emptyText), m_panel.get());
    m_emptyLabel->setAlignment(Qt::AlignCenter);
    m_emptyLabel->setForegroundRole(QPalette::PlaceholderText);
    // Clicks go through to the table underneath.
    m_emptyLabel->setAttribute(Qt::WA_TransparentForMouseEvents);

    // The empty label lies over the middle of the table rather than replacing it.
    auto *results = new QGridLayout;
    results->addWidget(m_table, 0, 0);
    results->addWidget(m_emptyLabel, 0, 0, Qt::AlignCenter);

    auto *layout = new QVBoxLayout(m_panel.get());
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);
    layout->addWidget(m_field);
    layout->addLayout(results, 1);

    connect(m_field, &QLineEdit::textChanged, this, &SearchWindow::runQuery);
    runQuery();
}

const QList<NoteSearch::Result> &SearchWindow::results() const
{
    return m_model->results();
}

std::optional<int> SearchWindow::selectedRow() const
{
    const QModelIndex index = m_table->activationIndex();
    return index.isValid() ? std::optional<int>(index.row()) : std::nullopt;
}

void SearchWindow::show()
{
    m_orderStale = true;
    runQuery();
    m_panel->present();
    m_field->setFocus(Qt::OtherFocusReason);
    // Typing replaces the last query; the arrow keys keep it.
    m_field->selectAll();
}

void SearchWindow::notesChanged()
{
    m_orderStale = true;
    // A hidden panel searches afresh when it is shown again.
    if (!m_panel->isVisible())
        return;
    // The refresh keeps the selected note selected, so that a change elsewhere does not move the user's choice.
    const std::optional<int> row = selectedRow();
    const QString selectedKey = row ? results().at(*row).key : QString();
    runQuery();
    if (selectedKey.isEmpty())
        return;
    for (qsizetype i = 0; i < results().size(); ++i) {
        if (results().at(i).key == selectedKey) {
            selectRow(int(i));
            return;
        }
    }
}

QList<NoteSearch::Candidate> SearchWindow::candidates()
{
    NoteStore *store = m_storeProvider ? m_storeProvider() : nullptr;
    if (!store)
        return {};
    if (m_orderStale || store != m_orderedStore) {
        m_ordered.clear();
        for (NoteController *controller : store->controllersByName())
            m_ordered.emplace_back(controller);
        m_orderedStore = store;
        m_orderStale = false;
    }
    QList<NoteSearch::Candidate> candidates;
    candidates.reserve(qsizetype(m_ordered.size()));
    for (const QPointer<NoteController> &controller : m_ordered) {
        if (!controller)
            continue;
        const Note &note = controller->note();
        candidates.append({note.filename, note.title(), note.body, note.meta.hidden});
    }
    return candidates;
}

void SearchWindow::runQuery()
{
    m_model->setResults(NoteSearch::search(m_field->text(), candidates()));
    m_emptyLabel->setVisible(results().isEmpty());
    if (!results().isEmpty()) {
        selectRow(0);
        m_table->scrollToTop();
    }
}

void SearchWindow::selectRow(int row)
{
    const QModelIndex index = m_model->index(row, 0);
    m_table->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_table->scrollTo(index);
}

void SearchWindow::moveSelection(int delta)
{
    const int count = int(results().size());
    if (count == 0)
        return;
    int row;
    if (const std::optional<int> selected = selectedRow())
        row = std::clamp(*selected + delta, 0, count - 1);
    else
        row = delta < 1 ? count - 1 : 0;
    selectRow(row);
}

void SearchWindow::openSelected()
{
    if (const std::optional<int> row = selectedRow())
        open(results().at(*row));
}

void SearchWindow::rowDoubleClicked(const QModelIndex &index)
{
    if (index.isValid() && index.row() < results().size())
        open(results().at(index.row()));
}

void SearchWindow::open(const NoteSearch::Result &result)
{
    // Copies: revealing a hidden note changes the store's notes, which may refresh the results under us.
    const QString key = result.key;
    const QString query = m_field->text().trimmed();
    NoteStore *store = m_storeProvider ? m_storeProvider() : nullptr;
    NoteController *controller = store ? store->controller(key) : nullptr;
    if (!controller)
        return;
    m_panel->hide();
    controller->revealFromLink();
    if (NoteWindowController *window = m_windows.windowOf(controller); window && window->textView())
        window->textView()->selectMatch(query);
}

bool SearchWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_field || event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    // The keys that move through and open the results act from the field, so the focus never has to leave it.
    const auto *key = static_cast<QKeyEvent *>(event);
    if ((key->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier)
        return false;
    switch (key->key()) {
    case Qt::Key_Down:
        moveSelection(1);
        return true;
    case Qt::Key_Up:
        moveSelection(-1);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        openSelected();
        return true;
    default:
        return false;
    }
}
