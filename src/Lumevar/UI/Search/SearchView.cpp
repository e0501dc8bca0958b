#include "Lumevar/UI/Search/SearchView.h"

#include "Lumevar/Search/SearchActivation.h"
#include "Lumevar/Search/SearchLayout.h"
#include "Lumevar/Search/SearchSources.h"
#include "Lumevar/UI/Icons.h"
#include "Lumevar/UI/Search/SearchArtworkSource.h"
#include "Lumevar/UI/Search/SearchPicker.h"
#include "Lumevar/UI/Search/SearchResultDelegate.h"
#include "Lumevar/UI/Search/SearchResultsModel.h"
#include "Support/Log.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPointer>
#include <QVBoxLayout>
#include <cstdio>

namespace {

constexpr int fieldRowVerticalPadding = 10;
constexpr int fieldRowHorizontalPadding = 14;
constexpr int titleFontPixels = 17;

// A chosen result plays in the background while the surface closes; what fails has been shown
// by the models that handle their own failures, and is otherwise only logged.
QCoro::Task<void> playChosen(SearchResult result, SearchModels models)
{
    try {
        co_await activateSearchResult(std::move(result), models);
    } catch (...) {
        LUMEVAR_INFO(Log::playback(), "A search result did not play: %@", errorFromCurrentException());
    }
}

} // namespace

SearchView::SearchView(SearchModels models, QWidget *parent) : QWidget(parent), m_models(models)
{
    setObjectName(QStringLiteral("searchView"));
    setAttribute(Qt::WA_TranslucentBackground);

    auto *fieldRow = new QWidget(this);
    fieldRow->setFixedHeight(int(SearchLayout::fieldRowHeight));
    auto *rowLayout = new QHBoxLayout(fieldRow);
    rowLayout->setContentsMargins(fieldRowHorizontalPadding, fieldRowVerticalPadding, fieldRowHorizontalPadding, fieldRowVerticalPadding);
    rowLayout->setSpacing(8);
    auto *glass = new QLabel(fieldRow);
    glass->setPixmap(Icons::drawnSymbol(QStringLiteral("magnifyingglass")).pixmap(18, 18));
    rowLayout->addWidget(glass, 0, Qt::AlignVCenter);

    m_field = new QLineEdit(fieldRow);
    m_field->setObjectName(QStringLiteral("searchField"));
    m_field->setPlaceholderText(QStringLiteral("Search"));
    m_field->setFrame(false);
    m_field->setAttribute(Qt::WA_MacShowFocusRect, false);
    QFont title = m_field->font();
    title.setPixelSize(titleFontPixels);
    m_field->setFont(title);
    m_field->setStyleSheet(QStringLiteral("QLineEdit { background: transparent; }"));
    m_field->installEventFilter(this);
    // The panel gives the surface the keys; they go to the field.
    setFocusProxy(m_field);
    rowLayout->addWidget(m_field, 1, Qt::AlignVCenter);

    m_picker = new SearchPicker(m_models.searchViewModel, this);
    rowLayout->addWidget(m_picker, 0, Qt::AlignVCenter);

    m_results = new SearchResultsModel(this);
    m_artwork = new SearchArtworkSource(this);
    m_list = new QListView;
    m_list->setObjectName(QStringLiteral("searchResults"));
    m_list->setModel(m_results);
    m_list->setItemDelegate(new SearchResultDelegate(*m_results, [this](const SearchResult &result) { return m_artwork->image(result); }, m_list));
    m_list->setUniformItemSizes(true);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->viewport()->setAutoFillBackground(false);
    m_list->setAutoFillBackground(false);
    m_list->setStyleSheet(QStringLiteral("QListView { background: transparent; }"));
    m_list->installEventFilter(this);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex &current) {
        const SearchResult *result = m_results->result(current.row());
        m_selection = result ? std::optional<SearchResult>(*result) : std::nullopt;
    });
    connect(m_list, &QListView::doubleClicked, this, [this](const QModelIndex &index) {
        if (m_results->result(index.row())) {
            select(index.row());
            activateSelection();
        }
    });
    connect(m_artwork, &SearchArtworkSource::imageArrived, m_list->viewport(), qOverload<>(&QWidget::update));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(fieldRow);
    // The list's inset: half of the list's base height above the first line and below the last.
    auto *listArea = new QWidget(this);
    auto *listLayout = new QVBoxLayout(listArea);
    const int inset = int(SearchLayout::listBaseHeight / 2);
    listLayout->setContentsMargins(0, inset, 0, inset);
    listLayout->addWidget(m_list);
    layout->addWidget(listArea, 1);

    connect(m_field, &QLineEdit::textChanged, this, [this] { triggerSearch(); });
    m_tokens.push_back(observeChanges(m_models.searchViewModel.selection,
                                      [this](SearchPickerSelection before, SearchPickerSelection now) { sourceChanged(before, now); }));
    m_tokens.push_back(observeChanges(m_models.searchViewModel.generation, [this] { reopened(); }));
}

SearchView::~SearchView()
{
    for (TaskHandle &search : m_previousSearches)
        search.cancel();
}

QString SearchView::searchText() const { return m_field->text(); }

const QList<SearchSection> &SearchView::sections() const { return m_results->sections(); }

QSize SearchView::sizeHint() const { return QSize(360, int(m_wantedHeight)); }

void SearchView::triggerSearch()
{
    for (TaskHandle &search : m_previousSearches)
        search.cancel();
    m_previousSearches.clear();
    TaskHandle handle;
    m_previousSearches.append(handle);
    detach(runSearch(m_field->text(), m_models.searchViewModel.selection(), handle.token()));
}

QCoro::Task<void> SearchView::runSearch(QString text, SearchPickerSelection source, CancellationToken token)
{
    QPointer<SearchView> self(this);
    try {
        QList<SearchSection> found = co_await searchSections(source, text, m_models);
        // An overtaken catalog search fails, as a cancelled request does. A library search that
        // has read the store still shows what it found: the newer one follows it in the store's
        // order and replaces it.
        if (source == SearchPickerSelection::catalog)
            token.checkCancellation();
        if (!self)
            co_return;
        showSections(std::move(found));
    } catch (...) {
        std::fputs("Search cancelled\n", stdout);
        std::fflush(stdout);
    }
}

void SearchView::showSections(QList<SearchSection> sections)
{
    const std::optional<SearchResult> kept = m_selection;
    const double height = SearchLayout::surfaceHeight(sections);
    m_results->setSections(std::move(sections));
    m_selection.reset();
    if (kept) {
        if (const int row = m_results->rowOf(*kept); row >= 0)
            select(row);
    }
    m_wantedHeight = height;
    updateGeometry();
    ++m_completedSearches;
    if (onResize)
        onResize(height);
}

void SearchView::sourceChanged(SearchPickerSelection before, SearchPickerSelection now)
{
    if (before == now)
        return;
    // Results of the other source never stand under the new choice; the height follows the new
    // search when it ends.
    m_results->setSections({});
    m_selection.reset();
    triggerSearch();
}

void SearchView::reopened()
{
    focusField();
    m_list->selectionModel()->clear();
    m_list->setCurrentIndex({});
    m_selection.reset();
    if (!m_results->sections().isEmpty())
        m_list->scrollToTop();
}

void SearchView::select(int row)
{
    if (row < 0) {
        m_list->selectionModel()->clear();
        m_list->setCurrentIndex({});
        m_selection.reset();
        return;
    }
    const QModelIndex index = m_results->index(row);
    m_list->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    m_list->scrollTo(index);
}

void SearchView::focusField()
{
    m_field->setFocus(Qt::OtherFocusReason);
    // As the desktop's fields do when they take the focus: what is typed next replaces the text.
    m_field->selectAll();
}

void SearchView::focusList() { m_list->setFocus(Qt::OtherFocusReason); }

bool SearchView::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride) {
        auto *key = static_cast<QKeyEvent *>(event);
        // Escape belongs to the surface, before the field or list could take it.
        if (key->key() == Qt::Key_Escape) {
            if (event->type() == QEvent::ShortcutOverride) {
                event->accept();
                return false;
            }
            close();
            return true;
        }
        if (event->type() == QEvent::KeyPress) {
            if (watched == m_field && fieldKey(key))
                return true;
            if (watched == m_list && listKey(key))
                return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

bool SearchView::fieldKey(QKeyEvent *event)
{
    if (event->key() != Qt::Key_Down || event->modifiers() & ~Qt::KeypadModifier)
        return false;
    focusList();
    select(m_results->nextResultRow(-1, 1));
    return true;
}

bool SearchView::listKey(QKeyEvent *event)
{
    const int current = m_selection ? m_results->rowOf(*m_selection) : -1;
    switch (event->key()) {
    case Qt::Key_Up: {
        const int first = m_results->nextResultRow(-1, 1);
        if (current == first) {
            focusField();
            return true;
        }
        // Headers are skipped; the list moves over results only.
        const int previous = m_results->nextResultRow(current, -1);
        if (previous >= 0)
            select(previous);
        return true;
    }
    case Qt::Key_Down: {
        const int next = m_results->nextResultRow(current, 1);
        if (next >= 0)
            select(next);
        return true;
    }
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!m_selection)
            return false;
        activateSelection();
        return true;
    default:
        return false;
    }
}

void SearchView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void SearchView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    focusField();
}

void SearchView::activateSelection()
{
    if (!m_selection)
        return;
    detach(playChosen(*m_selection, m_models));
    close();
}

void SearchView::close()
{
    if (onClose)
        onClose();
}
