#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include "support/TestSupport.h"

// Every test binary runs with its own application-support folder, so that no
// test ever reads or writes the user's real files.
int main(int argc, char **argv) {
    QTemporaryDir home;
    if (qEnvironmentVariableIsEmpty("MEROVAN_TEST_CHILD"))
        qputenv("MEROVAN_HOME", home.path().toUtf8());
    QCoreApplication app(argc, argv);
    if (ChildRoutine routine = childRoutineToRun())
        return routine();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
