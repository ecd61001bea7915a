// What a life of the library consists of, without the library: plain code that does what cannot be left out, in the
// same order.
#ifndef ZEF_BENCH_PROCESS_BARE_LIFE_H
#define ZEF_BENCH_PROCESS_BARE_LIFE_H

#include "PlainRecord.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// The sum of the parts:
// - twice: open the file, load it with bare Mini-XML from a stream that is not locked for every character, find the
//   elements, delete the tree, close the file; and the two messages around it;
// - compile, match and free the regular expressions of the UUID, the user and the storage name;
// - the platform's calls, as often as the library makes them: those that take the UUID, key management's, the shared
//   configuration's, a validation and a search for local addresses for each address, two for each link;
// - decrypt the password once, and once for each link, along with the copies that a credential takes;
// - hand a task for each address over to a thread, wait until it has brought all links up, end and join it. The thread
//   is there before the life begins, as the library's is from the loading on.
//
// Not in it: reading values by type, checks of the tree, futures, the queue's due times, the gate that tasks pass
// through, the pause at the end, and wiping the password.
class BareLife {
public:
    BareLife();
    ~BareLife();
    BareLife(const BareLife &) = delete;
    BareLife &operator=(const BareLife &) = delete;

    // Throws where one of the parts fails.
    void Init();
    void Start();
    void Finish();

private:
    void Register(const std::vector<std::string> &addresses);
    void Connect(const std::string &address);
    void Work();

    PlainRecord record;

    std::mutex mutex;
    std::condition_variable wakeUp;
    std::vector<std::string> tasks;  // the addresses to connect
    bool isRunning = true;
    std::thread worker;  // the last member: it uses the others
};

#endif
