#pragma once
// A list model's sort choice as its views see it: sortOrder() and sortDirection() read the
// defaults every time (nothing is cached, so a value written elsewhere shows at once), and a
// write stores the raw number, tells the views, and starts a reload of the list without a sync.

#include "Lumevar/Library/SortOrders.h"
#include "Support/Observable.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"

#include <QCoroTask>
#include <functional>

template <typename Order>
class SortSetting {
public:
    using Table = SortChoiceTable<Order>;
    using Record = typename Table::Record;

    // reload is the model's list load with the sync flag false; each write starts it once.
    SortSetting(UserDefaults &defaults, std::function<QCoro::Task<void>()> reload)
        : m_defaults(defaults), m_reload(std::move(reload))
    {
    }

    Order sortOrder() const { return sortCaseFromRaw<Order>(m_defaults.integerValue(QLatin1String(Table::orderKey))); }
    MusicSortDirection sortDirection() const
    {
        return sortCaseFromRaw<MusicSortDirection>(m_defaults.integerValue(QLatin1String(Table::directionKey)));
    }
    SortDescriptor<Record> sortDescriptor() const { return ::sortDescriptor(sortOrder(), sortDirection()); }

    void setSortOrder(Order order) { write(Table::orderKey, rawSortValue(order)); }
    void setSortDirection(MusicSortDirection direction) { write(Table::directionKey, rawSortValue(direction)); }

    // Raised by every write of the order or the direction; views observe it and read again.
    Observable<int> _changes = 0;

private:
    // The reload is not kept: two quick changes run two loads, each reading the defaults when it
    // runs, and neither cancels the other.
    void write(const char *key, int raw)
    {
        m_defaults.set(QLatin1String(key), raw);
        _changes.set(_changes() + 1);
        detach(m_reload());
    }

    UserDefaults &m_defaults;
    std::function<QCoro::Task<void>()> m_reload;
};
