#include "platform/linux/faces/ini_file.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/linux/ini/ini_reading.h"
#include "platform/linux/system/system_error.h"

namespace {

// A caller's buffer that takes names one after the other, each with its NUL, and one more NUL at the end.
class NameList {
  public:
    // `size` is at least 1.
    NameList(LPSTR buffer, DWORD size) : buffer_(buffer), size_(size) {}

    // False once the list doesn't fit.
    bool Add(std::string_view name) {
        Append(name);
        Append({"", 1});
        return !isCut_;
    }

    bool IsEmpty() const { return used_ == 0 && !isCut_; }

    DWORD Finish() {
        if (isCut_) {
            SetLastError(ERROR_MORE_DATA);
            used_ = std::max<std::size_t>(size_, 2) - 2;
            buffer_[size_ - 1] = '\0';
        }
        buffer_[used_] = '\0';
        return static_cast<DWORD>(used_);
    }

  private:
    void Append(std::string_view text) {
        const std::size_t count = std::min(text.size(), size_ - 1 - used_);
        std::memcpy(buffer_ + used_, text.data(), count);
        used_ += count;
        isCut_ = isCut_ || count < text.size();
    }

    LPSTR buffer_;
    std::size_t size_;
    std::size_t used_ = 0;
    bool isCut_ = false;
};

// The value may lie in the buffer itself: a caller may give its default in the place where it wants the
// answer.
DWORD CopyValue(std::string_view value, LPSTR buffer, DWORD size) {
    const std::size_t count = std::min<std::size_t>(value.size(), size - 1);
    if (count < value.size()) SetLastError(ERROR_MORE_DATA);
    std::memmove(buffer, value.data(), count);
    buffer[count] = '\0';
    return static_cast<DWORD>(count);
}

}  // namespace

DWORD WINAPI GetPrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR fallback, LPSTR buffer, DWORD size,
                                      LPCSTR path) try {
    if (buffer == nullptr || size == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const auto missing = [fallback] { return std::string_view(fallback != nullptr ? fallback : ""); };
    const IniReading reading(path != nullptr ? path : "");
    if (reading.Content() == nullptr) {
        if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY) NoteMissedMemory();
        return CopyValue(missing(), buffer, size);
    }
    if (section != nullptr && key != nullptr) {
        const std::string_view wanted = TrimBlanks(key);
        const std::optional<std::string_view> value = reading.FindValue(TrimBlanks(section), wanted);
        return CopyValue(value ? *value : missing(), buffer, size);
    }
    NameList list(buffer, size);
    const auto add = [&list](std::string_view name) { return list.Add(name); };
    if (section == nullptr) {
        reading.Content()->ForEachSection(add);
    } else {
        reading.ForEachKey(TrimBlanks(section), add);
    }
    return list.IsEmpty() ? CopyValue(missing(), buffer, size) : list.Finish();
} catch (...) {
    const DWORD copied = CopyValue(fallback != nullptr ? fallback : "", buffer, size);
    SetLastError(CaughtError());
    NoteMissedMemory();
    return copied;
}

DWORD WINAPI GetPrivateProfileSectionNamesA(LPSTR buffer, DWORD size, LPCSTR path) {
    return GetPrivateProfileStringA(nullptr, nullptr, nullptr, buffer, size, path);
}
