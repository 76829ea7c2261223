#include "class_a/standard/CFileReader.h"

#include <fstream>
#include <string_view>

#include "class_a/standard/detail/system_error.h"
#include "class_a/standard/detail/system_files.h"
#include "class_a/standard/ksl_text.h"
#include "class_a/standard/ksl_throw.h"

using ksl::CMessage;
using ksl::throw_exception;

static std::string full_path(std::string directory, std::string file) {
    ksl::trim_right_any(directory, "\\ /");
    ksl::trim_left_any(file, " ");
    if (file.size() > 1 && ksl::contains_char(file.front(), "/\\")) return file;
    ksl::trim_left_any(file, "\\/");
    return directory + ksl::path_separator() + file;
}

// The mark of UTF-8, which editors put at the front of a file, is no part of its first line.
static void skip_byte_order_mark(std::istream& in) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    std::size_t matched = 0;
    while (matched < mark.size() && in.peek() == static_cast<unsigned char>(mark[matched])) {
        in.get();
        ++matched;
    }
    in.clear(in.rdstate() & std::ios::badbit);  // a file may end within the mark, or be empty
    if (matched == mark.size()) return;
    for (; matched != 0; --matched)
        in.unget();
}

CFileReader::~CFileReader() = default;

void CFileReader::execute(std::string directory, std::string file) {
    _directory = directory;
    _path = ksl::platform_path(full_path(directory, file));
    std::ifstream in;
    const int code = ksl::open_for_reading(_path, in);
    if (!in.is_open())
        throw_exception(KSL_SITE("CFileReader::execute"), CMessage("Cannot open file '%1'.") << _path,
                        CMessage(), code);
    _begin();
    try {
        _readAll(in);
    } catch (...) {
        _abort();
        throw;
    }
    if (_stop)
        _abort();
    else
        _end();
}

void CFileReader::_readAll(std::istream& in) {
    unsigned long line = 0;
    std::string record;
    skip_byte_order_mark(in);
    do {
        line += _readRecord(in, record);
        if (in.bad()) {
            const int code = ksl::last_system_error();
            throw_exception(KSL_SITE("CFileReader::execute"), CMessage("Cannot read file '%1'.") << _path,
                            CMessage(), code);
        }
        if (!record.empty()) _processRecord(record, line);
    } while (in.good() && !_stop);
}

void CFileReader::_begin() {}

void CFileReader::_end() {}

void CFileReader::_abort() {}

unsigned long CFileReader::_readRecord(std::istream& in, std::string& record) {
    record.clear();
    std::string line;
    for (unsigned long count = 1;; ++count) {
        std::getline(in, line);
        ksl::trim_left_any(line, " \t");
        const bool isComment = !line.empty() && ksl::contains_char(line.front(), _commentChars);
        if (!isComment) {
            ksl::trim_right_any(line, " \r\n\t");
            if (line.empty()) return count;
            record += line;
            record += '\n';
        }
        if (!in.good()) return count;
    }
}
