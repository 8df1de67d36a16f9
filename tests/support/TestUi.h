#pragma once

// A scripted dialog service whose failures fail the running test, and which checks at the end that every
// announced dialog was shown.

#include "platform/ui/ScriptedUi.h"

#include <gtest/gtest.h>

namespace korvel::test {

class TTestUi : public TScriptedUi {
public:
    TTestUi() {
        SetUnexpectedHandler([](const std::string& message) { ADD_FAILURE() << message; });
    }
    ~TTestUi() override { VerifyAllAnswered(); }
    TTestUi(const TTestUi&) = delete;
    TTestUi& operator=(const TTestUi&) = delete;
};

} // namespace korvel::test
