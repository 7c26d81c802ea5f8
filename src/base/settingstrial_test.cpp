#include "base/settingstrial.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/inistore.h"

namespace tarnvale {
namespace {

class SettingsTrialTest : public testing::Test {
protected:
    // A store that isn't there yet.
    SettingsTrialTest() {
        const FILEPATH store = FILEPATH(TARNVALE_TEST_TEMP) / "settingstrial.ini";
        std::filesystem::remove(store);
        ::setenv("TARNVALE_INI", store.c_str(), 1);
    }
    static bool Stored(const char* key) {
        float value = 0;
        return _iniRead(key, value);
    }
    Setting<float> changed{"TrialChanged", 1}, putBack{"TrialPutBack", 2},
        untouched{"TrialOther", 3};
    float plain = 100;
    SettingsTrial trial;
};

TEST_F(SettingsTrialTest, AValueHoldsAtOnceAndIsWrittenOnlyWhenKeptAndChanged) {
    trial.Try(changed, 5);
    trial.Try(changed, 6);
    trial.Try(putBack, 7);
    trial.Try(putBack, 2);
    EXPECT_EQ(changed.Get(), 6);
    EXPECT_FALSE(Stored("TrialChanged"));
    trial.Keep();
    float stored = 0;
    EXPECT_TRUE(_iniRead("TrialChanged", stored));
    EXPECT_EQ(stored, 6);
    EXPECT_FALSE(Stored("TrialPutBack")) << "what is as it was needs no writing";
    trial.Revert();
    EXPECT_EQ(changed.Get(), 6) << "kept is kept";
}

TEST_F(SettingsTrialTest, RevertBringsBackTheFirstValueAndLeavesOthersAlone) {
    trial.Try(putBack, 5);
    trial.Try(putBack, 6);
    trial.Try(plain, 10);
    untouched.SetUnsaved(9);  // someone else, meanwhile
    trial.Revert();
    EXPECT_EQ(putBack.Get(), 2);
    EXPECT_EQ(plain, 100);
    EXPECT_EQ(untouched.Get(), 9);
}

TEST_F(SettingsTrialTest, WhatIsForgottenKeepsItsNewValue) {
    trial.Try(plain, 10);
    plain = 70;
    trial.Forget(&plain);
    trial.Revert();
    EXPECT_EQ(plain, 70);
}

}  // namespace
}  // namespace tarnvale
