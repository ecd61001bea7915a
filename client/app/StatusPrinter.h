// Prints what becomes of the links while the client runs.
#ifndef ZEF_CLIENT_APP_STATUS_PRINTER_H
#define ZEF_CLIENT_APP_STATUS_PRINTER_H

#include "common/Mutex.h"
#include "gateway/LinkNews.h"
#include "gateway/LinkState.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace zef {

// Prints, in the order in which it was asked, on a thread of its own: a reader that stalls holds up neither a link
// nor the main thread, and a table may wait for the moment between two tasks in which the registry can be read.
class StatusPrinter {
public:
    // `takeTable` gives the text of a table, line feeds included; it is called on the printer's thread for each one,
    // and may block. `descriptor` is where lines go; it stays the caller's.
    StatusPrinter(int descriptor, std::function<std::string()> takeTable, const LogClock &clock = {});

    // Prints the changes that came until now, as far as the reader takes them, then ends. A table that is still to be
    // taken is dropped: it would show a client that has gone already.
    ~StatusPrinter();

    StatusPrinter(const StatusPrinter &) = delete;
    StatusPrinter &operator=(const StatusPrinter &) = delete;

    // One line for a change of a link's state, if LinkNews holds it to be news. Any thread; never blocks.
    void LinkChanged(const LinkState &state);

    // The table. Any thread; never blocks.
    void ShowTable();

private:
    // What is to be printed: a line, or (without one) the table.
    using Request = std::optional<std::string>;

    void Add(Request request, bool atOnce);
    void Run();
    void Gather() ZEF_REQUIRES(mutex);
    std::string TakeLines() ZEF_REQUIRES(mutex);
    bool Write(const std::string &text);
    bool IsEnding();

    const int descriptor;
    const std::function<std::string()> takeTable;
    LinkNews news;

    Mutex mutex;
    Condition changed;
    std::deque<Request> requests ZEF_GUARDED_BY(mutex);
    bool isUrgent ZEF_GUARDED_BY(mutex) = false;  // one of them is not to wait for others
    bool ending ZEF_GUARDED_BY(mutex) = false;

    std::thread thread;
};

}  // namespace zef

#endif
