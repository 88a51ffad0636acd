// Database tests that run the same cases on an SQLite file and on a
// throw-away PostgreSQL server, one server for the whole test program.
#pragma once

#include "DbTarget.h"

#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

// What a command printed, and its exit status.
struct Outcome_T
{
    int status = -1;
    std::string out;
    std::string err;
};

// Runs COMMAND with its standard output and error going to memory.
Outcome_T Captured(const std::function<int(FILE* out, FILE* err)>& command);

class CEngineTest : public ::testing::TestWithParam<const char*>
{
protected:
    // Subclasses call it first and return when it skipped or failed.
    void SetUp() override;
    void TearDown() override;
    bool Stopped() const { return IsSkipped() || HasFatalFailure(); }

    QTemporaryDir m_Home;  // the test's XDG_DATA_HOME
    QString m_Url;         // the database as --db takes it
    CDbTarget m_Target;
};

// The parameter as the test's name: Engines/Suite.Case/sqlite.
#define ENGINE_TEST_SUITE(suite)                                   \
    INSTANTIATE_TEST_SUITE_P(                                      \
        Engines, suite, ::testing::Values("sqlite", "postgresql"), \
        [](const ::testing::TestParamInfo<const char*>& info) { return std::string(info.param); })
