#pragma once
// The state of the search surface that outlives its closings: which source the picker shows,
// whether the surface is wanted, and a counter of openings that the surface watches to take the
// focus back and start from the top. One for the application, main thread only.

#include "Support/Observable.h"

#include <QObject>
#include <QString>

enum class SearchPickerSelection { library, catalog };

class SearchViewModel : public QObject {
    Q_OBJECT
public:
    // Longest query handed to a search. Anything longer is cut: no title is that long, and a
    // query of thousands of letters would make every keystroke cost far more than it may.
    static constexpr int maxQueryLength = 200;

    explicit SearchViewModel(QObject *parent = nullptr);

    // Raised by 1 at each opening of the surface; only grows.
    Observable<int> generation{0};
    Observable<SearchPickerSelection> selection{SearchPickerSelection::library};
    // True while the surface is wanted; the panel that hosts it follows this.
    Observable<bool> showsSearch{false};

    // Opens the surface: showsSearch first, then a new generation. The menu entries set the
    // source before calling this; the toolbar button leaves it as it stands.
    void activate();
    // Asks for the surface to close; nothing when it is already closed.
    void close();

    // The text a search is run with: line breaks, tabs and other control characters become
    // spaces (a pasted block is one query), and the whole is cut to maxQueryLength without
    // splitting a character made of two UTF-16 units.
    static QString searchQuery(const QString &text);
};
