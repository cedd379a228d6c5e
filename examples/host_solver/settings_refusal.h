// Test helper of the channel example: the message with which reading the
// settings text refuses it, or "accepted" when it is read.
#pragma once

#include <string>

#include "settings.h"

namespace channel_test {

inline std::string Refusal(const std::string& text)
{
    try {
        channel::ParseSettings(text, "case.inp");
    } catch (const channel::SettingsError& e) {
        return e.what();
    }
    return "accepted";
}

}  // namespace channel_test
