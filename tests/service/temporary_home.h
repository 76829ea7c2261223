// A home of its own for one test: a folder with registry and database, named by QUILLON_HOME, gone at the
// end.
#pragma once

#include <string>
#include <vector>

class TemporaryHome {
  public:
    TemporaryHome();
    ~TemporaryHome();
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

    std::string Path(const std::string& name) const { return folder_ + "/" + name; }
    void Write(const std::string& name, const std::string& content) const;
    std::string Read(const std::string& name) const;  // empty if there is no such file

    // Writes registry.reg as an install leaves it, with the sample database and the log in this folder. Each
    // change is a line such as "\"CacheSize\"=dword:00000002" and takes the place of the value of that name;
    // a line that is only the quoted name takes the value out.
    void WriteRegistry(const std::vector<std::string>& changes = {}) const;

    // A bootptab with one client, 00-a0-24-12-34-56.
    void WriteDatabase() const;

    // The numbers of the events in events.log, in their order.
    std::vector<std::string> EventNumbers() const;

  private:
    std::string folder_;
};
