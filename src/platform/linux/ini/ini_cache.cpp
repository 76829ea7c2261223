#include "platform/linux/ini/ini_cache.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <new>
#include <string>

#include "platform/linux/instance/home.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/system/fetch_count.h"
#include "platform/linux/system/system_error.h"
#include "platform/linux/system/undying.h"

namespace {

struct CachedIni {
    CachedIni(std::string file, FileText text, const FileIdentity& is, bool settled, LookTime looked)
        : native(std::move(file)),
          identity(is),
          isSettled(settled),
          lookedAt(looked),
          content(std::move(text)) {}

    void NoteLook(LookTime looked) {
        LookTime last = lookedAt.load(std::memory_order_relaxed);
        while (last < looked && !lookedAt.compare_exchange_weak(last, looked, std::memory_order_release)) {
        }
    }

    const std::string native;  // the path as the system takes it
    const FileIdentity identity;
    // False while another edit could give the file the same identity; then only its bytes tell.
    std::atomic<bool> isSettled;
    std::atomic<LookTime> lookedAt;  // the fetches of datagrams before the last look
    const ParsedIni content;
};

using CachedRef = std::shared_ptr<CachedIni>;

std::shared_ptr<const ParsedIni> ContentOf(const CachedRef& cached) {
    return {cached, &cached->content};
}

timespec CoarseTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now;
}

class IniCache {
  public:
    std::shared_ptr<const ParsedIni> Open(const char* path, LookTime since) {
        CachedRef cached = Find(path);
        if (cached == nullptr) return Load(path, NativePath(path));
        if (cached->lookedAt.load(std::memory_order_acquire) >= since) return ContentOf(cached);
        const LookTime looked = fetchCount.load(std::memory_order_acquire);
        struct stat status {};
        const bool isThere = stat(cached->native.c_str(), &status) == 0;
        if (isThere && IsCurrent(cached, status) && cached->isSettled.load(std::memory_order_acquire)) {
            cached->NoteLook(looked);
            return ContentOf(cached);
        }
        const std::string native = cached->native;
        cached = nullptr;
        return Load(path, native);
    }

  private:
    struct Entry {
        std::string path;  // as the callers write it
        CachedRef cached;
        std::uint64_t lastUse = 0;
    };

    static bool IsCurrent(const CachedRef& cached, const struct stat& status) {
        return cached != nullptr && cached->identity == FileIdentity(status);
    }

    CachedRef Find(const char* path) {
        const std::lock_guard lock(mutex_);
        for (Entry& entry : entries_) {
            if (entry.path != path) continue;
            entry.lastUse = ++uses_;
            return entry.cached;
        }
        return nullptr;
    }

    void Forget(const char* path) {
        const std::lock_guard lock(mutex_);
        for (Entry& entry : entries_) {
            if (entry.path == path) entry = Entry{};
        }
    }

    void Keep(const char* path, const CachedRef& cached) {
        const std::lock_guard lock(mutex_);
        Entry* oldest = &entries_.front();
        for (Entry& entry : entries_) {
            if (entry.lastUse < oldest->lastUse) oldest = &entry;
        }
        *oldest = Entry{path, cached, ++uses_};
    }

    std::shared_ptr<const ParsedIni> Load(const char* path, const std::string& native) {
        KeepPromise();
        const std::lock_guard loading(loadMutex_);
        // Taken ahead of the look at the file: what changes from here on changes later than this.
        const timespec now = CoarseTime();
        const LookTime looked = fetchCount.load(std::memory_order_acquire);
        struct stat status {};
        const Descriptor file = OpenForReading(native.c_str(), status);
        if (!file) {
            const DWORD error = GetLastError();
            Forget(path);
            SetLastError(error);
            return nullptr;
        }
        const FileIdentity identity(status);
        const bool settled = identity.IsSettledAt(now);
        if (const CachedRef former = Find(path); IsCurrent(former, status)) {
            const bool trusted = former->isSettled.load(std::memory_order_acquire);
            if (trusted || HasSameBytes(file.Get(), former->content.Text())) {
                if (settled) former->isSettled.store(true, std::memory_order_release);
                former->NoteLook(looked);
                return ContentOf(former);
            }
            if (lseek(file.Get(), 0, SEEK_SET) != 0) return Fail(errno);
        }
        // The former content goes first, so that two of them aren't in memory at once.
        Forget(path);
        FileText text;
        if (const int error = ReadToEnd(file.Get(), static_cast<std::size_t>(status.st_size), text);
            error != 0) {
            return Fail(error);
        }
        const auto loaded = std::make_shared<CachedIni>(native, std::move(text), identity, settled, looked);
        Keep(path, loaded);
        return ContentOf(loaded);
    }

    static std::shared_ptr<const ParsedIni> Fail(int error) {
        SetLastErrorFrom(error);
        return nullptr;
    }

    std::mutex loadMutex_;  // one reader of a changed file at a time; taken before the other
    std::mutex mutex_;      // the entries; never held over a look at a file
    std::array<Entry, 4> entries_;
    std::uint64_t uses_ = 0;
};

}  // namespace

std::shared_ptr<const ParsedIni> OpenIni(const char* path, LookTime since) try {
    return Undying<IniCache>().Open(path, since);
} catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}
