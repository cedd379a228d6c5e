// Test helpers of the channel example: the one tool of a test program and
// the message with which reading the settings text refuses it.
#pragma once

#include <string>

#include "CRVZGPUtool.h"
#include "example_test_tool.h"
#include "settings.h"

namespace channel_test {

// The tool that example_test_main.cpp creates before any test runs.
using ::Tool;

// The refusal's message, or "accepted" when the settings text is read.
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
