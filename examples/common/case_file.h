// The case files of the example programs: one "key = value" per line, '#'
// starts a comment, blank lines are ignored, a key may appear once. Every
// problem is refused with SettingsError "file:line: key 'k': what".
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>

namespace channel {

class SettingsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Where a value came from, for messages.
struct Line {
    const std::string& file;
    int number;
    std::string key;
    [[noreturn]] void Fail(const std::string& what) const
    {
        throw SettingsError(file + ":" + std::to_string(number) + ": key '" + key + "': " + what);
    }
};

std::string Trim(const std::string& s);

// Conversions and range checks of one value, refused at `at`.
double ToDouble(const Line& at, const std::string& text);
int ToInt(const Line& at, const std::string& text);
double Positive(const Line& at, double v);
double NotNegative(const Line& at, double v);
double Relaxation(const Line& at, double v);  // (0, 1]
int AtLeast(const Line& at, int v, int lowest);

// Reads the lines of `text` (`name` stands for the file): for each
// "key = value" whose key `known` accepts, calls `apply`. A line without
// '=' ("nx 10"), an unknown key, a missing value and a key given twice are
// refused. Returns each key's line.
std::map<std::string, int> ParseKeyValues(const std::string& text, const std::string& name,
                                          const std::function<bool(const std::string&)>& known,
                                          const std::function<void(const Line&, const std::string&)>& apply);

// The whole file; a directory or an unreadable file is refused
// ("path: is a directory, not an input file").
std::string ReadCaseFile(const std::string& path);

// "%.4g" of v, for messages.
std::string Number(double v);

}  // namespace channel
