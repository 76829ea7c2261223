#include "platform/linux/net/address_change.h"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/faces/wait.h"
#include "platform/linux/net/interface_table.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/system/undying.h"

namespace {

constexpr std::size_t StackBytes = std::size_t{256} * 1024;
constexpr std::chrono::seconds PauseAfterFailure{1};

class AddressMonitor {
  public:
    int Arm(HANDLE event);
    void NoteTableIsRead();

  private:
    int Start();
    static void* Run(void* monitor);
    void Follow();
    int ReceiveChanges(bool& changed);
    bool Apply(const nlmsghdr& message);
    bool ReadAgain();
    void NoteChange();

    std::unique_ptr<NetlinkSocket> subscription_;
    std::vector<AddressRow> table_;  // of the following thread

    std::mutex mutex_;  // guards what follows
    bool running_ = false;
    std::uint64_t changes_ = 0;
    std::uint64_t changesRead_ = 0;
    std::vector<HANDLE> armed_;
};

// The thread ends with the process, so neither is ever destroyed.
AddressMonitor& Monitor() {
    return Undying<AddressMonitor>();
}

int AddressMonitor::Arm(HANDLE event) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!running_) {
        if (const int error = Start(); error != 0) return error;
        running_ = true;
    }
    if (changes_ != changesRead_) {
        changesRead_ = changes_;
        SetEvent(event);
        return 0;
    }
    // Events that were closed without a notice are forgotten here.
    std::erase_if(armed_, [](HANDLE former) { return !LookUpAnyObject(former); });
    if (std::ranges::find(armed_, event) == armed_.end()) armed_.push_back(event);
    return 0;
}

void AddressMonitor::NoteTableIsRead() {
    const std::lock_guard<std::mutex> lock(mutex_);
    changesRead_ = changes_;
}

// The subscription stands, and the table is that of no earlier moment, when this returns.
int AddressMonitor::Start() {
    subscription_ = NetlinkSocket::Open(RTMGRP_IPV4_IFADDR);
    if (subscription_ == nullptr) return errno;
    if (const int error = ReadAddressTable(table_); error != 0) return error;

    pthread_attr_t attributes;
    if (const int error = pthread_attr_init(&attributes); error != 0) return error;
    int error = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (error == 0)
        error = pthread_attr_setstacksize(&attributes, std::max<std::size_t>(StackBytes, PTHREAD_STACK_MIN));
    // Signals are for the threads of the service.
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    if (error == 0) error = pthread_sigmask(SIG_SETMASK, &all, &former);
    if (error == 0) {
        pthread_t thread;
        error = pthread_create(&thread, &attributes, Run, this);
        if (error == 0) pthread_setname_np(thread, "address-change");
        const int restored = pthread_sigmask(SIG_SETMASK, &former, nullptr);
        if (error == 0) error = restored;
    }
    pthread_attr_destroy(&attributes);
    return error;
}

void* AddressMonitor::Run(void* monitor) {
    static_cast<AddressMonitor*>(monitor)->Follow();
    return nullptr;
}

void AddressMonitor::Follow() {
    for (;;) {
        bool changed = false;
        const int error = ReceiveChanges(changed);
        if (error == ENOBUFS) {
            // Which notices were lost is not known, so it counts as a change even if the table looks the
            // same.
            ReadAgain();
            changed = true;
        } else if (error != 0) {
            std::this_thread::sleep_for(PauseAfterFailure);
            changed = ReadAgain();
        }
        if (changed) NoteChange();
    }
}

// What a lack of memory keeps from the table counts as lost.
int AddressMonitor::ReceiveChanges(bool& changed) try {
    return subscription_->Receive([&](const nlmsghdr& message) { changed = Apply(message) || changed; });
} catch (const std::bad_alloc&) {
    return ENOBUFS;
}

// A lease that is renewed is reported like a new address, though nothing in the table changes.
bool AddressMonitor::Apply(const nlmsghdr& message) {
    const auto row = ParseAddressRow(message);
    if (!row) return false;
    if (message.nlmsg_type == RTM_NEWADDR && std::ranges::find(table_, *row) != table_.end()) return false;
    const auto former = std::erase_if(table_, [&row](const AddressRow& known) {
        return known.address == row->address && known.interfaceIndex == row->interfaceIndex &&
               known.mask == row->mask;
    });
    if (message.nlmsg_type == RTM_DELADDR) return former != 0;
    table_.push_back(*row);
    return true;
}

// Whether that shows another table than the one known so far.
bool AddressMonitor::ReadAgain() try {
    std::vector<AddressRow> table;
    if (ReadAddressTable(table) != 0 || std::ranges::is_permutation(table, table_)) return false;
    table_ = std::move(table);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

void AddressMonitor::NoteChange() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++changes_;
    for (HANDLE event : armed_)
        SetEvent(event);
    armed_.clear();
}

}  // namespace

int SignalNextAddressChange(HANDLE event) {
    return Monitor().Arm(event);
}

void NoteTableIsRead() {
    Monitor().NoteTableIsRead();
}
