#pragma once

#include <map>
#include <set>
#include <string>

#include "class_a/standard/CFileReader.h"
#include "class_a/standard/CMessage.h"

namespace ksl {

// One message of a store: its number and its texts by locale.
class CMessageRecord {
  public:
    int id() const { return _id; }  // -1 for none
    void id(int id) { _id = id; }
    void add(const std::string& locale, const std::string& text) { _texts[locale] = text; }
    // The text of the locale, or else that of "en_US", or else none.
    std::string text(const std::string& locale) const;

  private:
    int _id = -1;
    std::map<std::string, std::string> _texts;
};

// Translations of message formats, read from message locale files by `execute`. A record of such a file has
// lines of the form "key = value". Every record needs "en_US", the format as the code holds it. It may have
// "id", its number, "description", which is dropped, and the format in other locales under their names. A
// record without "en_US", or with an "id" that is no number, ends the load with a `CException`; what came
// before it stays.
//
// Choose the locales first, then load any number of files, then translate. Several threads may translate at
// once as long as none loads or chooses locales.
class CMessageStore : public CFileReader {
  public:
    CMessageStore();
    ~CMessageStore() override;

    // Adds the locales of a list such as "de_DE, fr_FR" to those whose texts are stored; "*" stands for all.
    // The first of the list becomes the default locale. With no locales only the numbers are stored.
    void setLocales(std::string list);
    const std::string& defaultLocale() const { return _defaultLocale; }
    const std::set<std::string>& locales() const { return _locales; }

    // Gives the message the number of the record of its format, and the record's format in the locale if it
    // has one. A message without a record gets the number -1 and keeps its format. The arguments stay.
    void translate(CMessage& message, const std::string& locale) const;
    void translate(std::string& format, const std::string& locale) const;

  protected:
    void _processRecord(const std::string& record, unsigned long line) override;

  private:
    std::set<std::string> _locales;
    std::string _defaultLocale = "en_US";
    std::map<std::string, CMessageRecord> _messages;
};

}  // namespace ksl
