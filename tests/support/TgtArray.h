// A real iSCSI array on loopback: a tgtd of its own, with targets, CHAP accounts and LUNs.
#ifndef ZEF_TESTS_SUPPORT_TGT_ARRAY_H
#define ZEF_TESTS_SUPPORT_TGT_ARRAY_H

#include <string>
#include <vector>

#include <cstdint>

#include <sys/types.h>

namespace zef {

// Everything that cannot be done throws std::runtime_error with a text that says what to do, such as installing tgt;
// a test that needs the array thus fails. All files lie in a directory of the object's own, the control socket too,
// so nothing of the machine is touched and several arrays live side by side. Ends its tgtd when it goes.
class TgtArray {
public:
    struct Settings {
        std::string address = "127.0.0.1";  // an address of 127.0.0.0/8
        uint16_t port = 0;                  // 0: a free one is chosen
        std::string target = "iqn.2026-11.example.array:one";
        std::string user;  // empty: no CHAP
        std::string password;
        std::string scsiId = "600140512345678901234567890abcde";  // of LUN 1; 32 hexadecimal digits
    };

    // Starts tgtd and gives it the target.
    explicit TgtArray(const Settings &wanted);
    ~TgtArray();

    TgtArray(const TgtArray &) = delete;
    TgtArray &operator=(const TgtArray &) = delete;

    const std::string &Address() const { return settings.address; }
    uint16_t Port() const { return settings.port; }

    // The WWN that LUN 1's scsiId stands for: its upper 8 bytes.
    uint64_t Wwn() const;

    // Starts it again after Kill, on the same port, with the settings as they are now.
    void Start();

    // As a power failure: connections break, nothing is said.
    void Kill();

    // Stops it from running and lets it run again: connections stay, nothing is answered.
    void Freeze();
    void Thaw();

    // Takes effect for LUN 1 at once, and stays for later starts.
    void SetScsiId(const std::string &scsiId);

    // Gives another LUN an identity; LUN 0 is the controller that every target has.
    void SetLunScsiId(int lun, const std::string &scsiId);

    // One more target, with neither LUN nor account.
    void AddTarget(const std::string &name);

    // The addresses that are logged in to the first target, as the array sees them, once for each session.
    std::vector<std::string> InitiatorAddresses() const;

    // Runs tgtadm for this array, without a shell, and returns what it printed.
    std::string Admin(const std::vector<std::string> &arguments) const;

private:
    void Launch();
    void WaitUntilItAnswers() const;
    void Configure();
    int NewTarget(const std::string &name);
    void AdmitEverybody(int target);

    Settings settings;
    std::string directory;
    pid_t process = -1;
    int targets = 0;
};

}  // namespace zef

#endif
