// Changes a file as a whole: whoever reads it meanwhile, and whenever this process is killed, there is the
// old content or the new one.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

namespace quillonctl {

class FileEdit {
  public:
    // Locks out other edits for the life of the object and reads the file; a link is followed to its end.
    // Nothing if the file can't be read or another edit goes on for longer than ten seconds, with the reason
    // in `error`.
    static std::optional<FileEdit> Begin(const std::string& path, std::string& error);

    FileEdit(FileEdit&& other) noexcept;
    FileEdit(const FileEdit&) = delete;
    FileEdit& operator=(const FileEdit&) = delete;
    ~FileEdit();

    const std::string& Path() const { return path_; }
    const std::string& Text() const { return text_; }

    // Puts the text in the file's place, with the owner, the mode and the access list of the file. Nothing
    // has changed if it returns false: the file has changed since it was read, or can't be replaced.
    bool Replace(const std::string& text, std::string& error);

  private:
    FileEdit() = default;
    bool Lock(std::string& error);
    bool Read(std::string& error);
    bool WriteBeside(const std::string& name, const std::string& text, std::string& error);
    bool IsUnchanged() const;

    std::string path_;
    std::string folder_;
    std::string text_;
    struct stat status_ {};
    int folderDescriptor_ = -1;  // carries the lock
};

}  // namespace quillonctl
