#include "quillonctl/edit/bootptab_check.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string_view>

#include "quillonctl/check/database_check.h"

namespace quillonctl {
namespace {

// A file of its own for a text, because the service's code reads files.
class TextFile {
  public:
    explicit TextFile(const std::string& text) {
        char folder[] = "/tmp/quillonctl.XXXXXX";
        if (::mkdtemp(folder) == nullptr)
            throw std::runtime_error("no folder for the check can be made in /tmp");
        folder_ = folder;
        std::ofstream file(Path());
        file << text;
        if (!file.flush()) throw std::runtime_error("the text to check can't be written to " + Path());
    }
    ~TextFile() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    std::string Path() const { return folder_ + "/bootptab"; }

  private:
    std::string folder_;
};

std::vector<Finding> ErrorsOf(const std::string& path, const std::string& text) {
    const TextFile file(text);
    const CheckOutcome outcome = CheckDatabase(file.Path());
    if (!outcome.isRead) throw std::runtime_error(path + " can't be checked: " + outcome.error);
    std::vector<Finding> errors;
    for (Finding finding : outcome.findings.All()) {
        if (finding.severity != Severity::Error) continue;
        finding.file = path;
        errors.push_back(std::move(finding));
    }
    return errors;
}

// Without the numbers of lines, which an edit moves.
std::string Lasting(const Finding& finding) {
    constexpr std::string_view Mark = "line ";
    std::string text = finding.text;
    for (std::size_t at = text.find(Mark); at != std::string::npos; at = text.find(Mark, at)) {
        at += Mark.size();
        text.erase(at, text.find_first_not_of("0123456789", at) - at);
    }
    return text;
}

}  // namespace

std::vector<Finding> NewErrors(const std::string& path, const std::string& before, const std::string& after) {
    std::map<std::string, int> known;
    for (const Finding& finding : ErrorsOf(path, before))
        ++known[Lasting(finding)];
    std::vector<Finding> errors = ErrorsOf(path, after);
    std::erase_if(errors, [&](const Finding& finding) { return known[Lasting(finding)]-- > 0; });
    return errors;
}

}  // namespace quillonctl
