#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <optional>

#include "support/TestSupport.h"

// Every test binary runs with its own application-support folder, so that no
// test ever reads or writes the user's real files.
int main(int argc, char **argv) {
    // A child routine keeps its parent's folder: it may be killed, and
    // could not remove one of its own.
    std::optional<QTemporaryDir> home;
    if (qEnvironmentVariableIsEmpty("MEROVAN_TEST_CHILD")) {
        home.emplace();
        qputenv("MEROVAN_HOME", home->path().toUtf8());
    }
    QCoreApplication app(argc, argv);
    if (ChildRoutine routine = childRoutineToRun())
        return routine();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
