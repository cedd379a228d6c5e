#include "case_file.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace channel {

std::string Trim(const std::string& s)
{
    const size_t a = s.find_first_not_of(" \t\r");
    if (a == std::string::npos) return "";
    const size_t b = s.find_last_not_of(" \t\r");
    return s.substr(a, b - a + 1);
}

double ToDouble(const Line& at, const std::string& text)
{
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0' || errno == ERANGE || !std::isfinite(value))
        at.Fail("'" + text + "' is not a finite number");
    return value;
}

int ToInt(const Line& at, const std::string& text)
{
    errno = 0;
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || errno == ERANGE || value < -2147483647L || value > 2147483647L)
        at.Fail("'" + text + "' is not an integer");
    return static_cast<int>(value);
}

double Positive(const Line& at, double v)
{
    if (!(v > 0.0)) at.Fail("must be positive");
    return v;
}

double NotNegative(const Line& at, double v)
{
    if (v < 0.0) at.Fail("must not be negative");
    return v;
}

double Relaxation(const Line& at, double v)
{
    if (!(v > 0.0 && v <= 1.0)) at.Fail("must lie in (0, 1]");
    return v;
}

int AtLeast(const Line& at, int v, int lowest)
{
    if (v < lowest) at.Fail("must be at least " + std::to_string(lowest));
    return v;
}

std::map<std::string, int> ParseKeyValues(const std::string& text, const std::string& name,
                                          const std::function<bool(const std::string&)>& known,
                                          const std::function<void(const Line&, const std::string&)>& apply)
{
    std::map<std::string, int> seen;  // key -> its line
    std::istringstream in(text);
    std::string raw;
    int number = 0;
    while (std::getline(in, raw)) {
        ++number;
        const std::string line = Trim(raw.substr(0, raw.find('#')));
        if (line.empty()) continue;
        const size_t eq = line.find('=');
        // Without '=', the key is the first word ("nx 10").
        const size_t keyEnd = eq != std::string::npos ? eq : line.find_first_of(" \t");
        Line at{name, number, Trim(line.substr(0, keyEnd))};
        if (at.key.empty())
            throw SettingsError(name + ":" + std::to_string(number) + ": expected 'key = value', got '" + line + "'");
        if (!known(at.key)) at.Fail("unknown key");
        if (eq == std::string::npos) {
            const std::string rest = keyEnd == std::string::npos ? "" : Trim(line.substr(keyEnd));
            at.Fail(rest.empty() ? "missing '=' and value" : "missing '=' (write '" + at.key + " = " + rest + "')");
        }
        const std::string value = Trim(line.substr(eq + 1));
        if (value.empty()) at.Fail("missing value");
        if (!seen.emplace(at.key, number).second) at.Fail("given twice");
        apply(at, value);
    }
    return seen;
}

std::string ReadCaseFile(const std::string& path)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw SettingsError(path + ": is a directory, not an input file");
    std::ifstream file(path);
    if (!file) throw SettingsError(path + ": cannot open the input file: " + std::strerror(errno));
    std::ostringstream text;
    text << file.rdbuf();
    if (file.bad()) throw SettingsError(path + ": reading the input file failed");
    return text.str();
}

std::string Number(double v)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", v);
    return text;
}

}  // namespace channel
