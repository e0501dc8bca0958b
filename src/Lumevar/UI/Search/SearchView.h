#pragma once
// The search surface: a field, the library/catalog picker, and the results in sections. Every
// change of the text starts a search at once and cancels the one before it (there is no
// debounce); a search that was overtaken shows nothing. When a search ends, its sections replace
// the list's and the surface asks its host for its new height through onResize. A failed search
// prints "Search cancelled" and leaves the list as it was.
//
// Keys: Down in the field moves into the list onto the first result; Up on the first result goes
// back to the field; Return or a double click on a result plays it (SearchActivation) and closes;
// Escape closes. Ctrl+1 and Ctrl+2 choose the source.
//
// The state here (text, sections, highlighted result) lives as long as the view; the source and
// the openings live in SearchViewModel.

#include "Lumevar/Search/SearchModels.h"
#include "Lumevar/Search/SearchViewModel.h"
#include "Support/Task.h"

#include <QWidget>
#include <functional>
#include <optional>

class QLineEdit;
class QListView;
class SearchArtworkSource;
class SearchPicker;
class SearchResultsModel;

class SearchView : public QWidget {
    Q_OBJECT
public:
    explicit SearchView(SearchModels models, QWidget *parent = nullptr);
    ~SearchView() override;

    // Given by the host: the height the surface wants, and the request to close it.
    std::function<void(double)> onResize;
    std::function<void()> onClose;

    QString searchText() const;
    const QList<SearchSection> &sections() const;
    const std::optional<SearchResult> &selection() const { return m_selection; }
    // The searches started and not yet replaced (normally one, kept after it ends).
    const QList<TaskHandle> &previousSearches() const { return m_previousSearches; }
    // Raised by each search that ends with sections (for measuring from keystroke to result).
    int completedSearches() const { return m_completedSearches; }

    QLineEdit *field() const { return m_field; }
    QListView *list() const { return m_list; }
    SearchPicker *picker() const { return m_picker; }

    QSize sizeHint() const override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void triggerSearch();
    QCoro::Task<void> runSearch(QString text, SearchPickerSelection source, CancellationToken token);
    void showSections(QList<SearchSection> sections);
    void sourceChanged(SearchPickerSelection before, SearchPickerSelection now);
    void reopened();
    void select(int row);
    void focusField();
    void focusList();
    bool fieldKey(QKeyEvent *event);
    bool listKey(QKeyEvent *event);
    void activateSelection();
    void close();

    SearchModels m_models;
    QLineEdit *m_field = nullptr;
    SearchPicker *m_picker = nullptr;
    QListView *m_list = nullptr;
    SearchResultsModel *m_results = nullptr;
    SearchArtworkSource *m_artwork = nullptr;
    std::optional<SearchResult> m_selection;
    QList<TaskHandle> m_previousSearches;
    int m_completedSearches = 0;
    double m_wantedHeight = 44.0;
    std::vector<ObservationTrackingToken> m_tokens;
};
