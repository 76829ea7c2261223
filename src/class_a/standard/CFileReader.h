#pragma once

#include <istream>
#include <string>

// Reads a text file record by record. A record is a run of lines up to a blank line. Lines lose the blanks,
// tabs and line ends around them, and comment lines are left out without ending a record. The byte order mark
// of UTF-8 at the front of the file is left out as well.
//
// A derived class gets the records through the hooks below, in the order `_begin`, `_processRecord` for each
// record that is not empty, and then one of `_end` and `_abort`.
//
// A reader belongs to one thread while `execute` runs.
class CFileReader {
  public:
    CFileReader() = default;
    CFileReader(const CFileReader&) = default;
    CFileReader& operator=(const CFileReader&) = default;
    virtual ~CFileReader();

    // Reads `file`, which lies in `directory` unless it begins with a separator. Both may have "/" and "\". A
    // file that cannot be opened throws a `ksl::CException` before any hook is called; one that fails to be
    // read throws it after `_abort`. An exception out of `_processRecord` goes on to the caller, after
    // `_abort` too.
    virtual void execute(std::string directory, std::string file);

    // The full path of the file of the last `execute`.
    std::string path() const { return _path; }

    // True ends the reading after the current record, with `_abort`. It stays true until it is cleared.
    bool stop() const { return _stop; }
    void stop(bool stop) { _stop = stop; }

    // A line that begins with one of these characters, blanks and tabs aside, is a comment.
    const std::string& commentChars() const { return _commentChars; }
    void addCommentChar(char c) { _commentChars += c; }

  protected:
    // `line` is the number of lines read so far, the one that ended the record included.
    virtual void _processRecord(const std::string& record, unsigned long line) = 0;
    virtual void _begin();
    virtual void _end();
    virtual void _abort();
    // Stores the next record, each of its lines with a line feed after it, and returns the number of lines
    // read.
    virtual unsigned long _readRecord(std::istream& in, std::string& record);

  private:
    void _readAll(std::istream& in);

    std::string _path;
    std::string _directory;
    bool _stop = false;
    std::string _commentChars = "#";
};
