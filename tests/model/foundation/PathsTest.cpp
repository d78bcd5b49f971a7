#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "model/foundation/Paths.h"

namespace {
// Sets an environment variable for the lifetime of the object.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char *name, const QByteArray &value)
        : m_name(name), m_wasSet(qEnvironmentVariableIsSet(name)), m_previous(qgetenv(name)) {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    ~ScopedEnvironment() {
        if (m_wasSet)
            qputenv(m_name, m_previous);
        else
            qunsetenv(m_name);
    }

private:
    const char *m_name;
    bool m_wasSet;
    QByteArray m_previous;
};
}  // namespace

TEST(Paths, EverythingLivesBelowMerovanHomeWhenItIsSet) {
    QTemporaryDir dir;
    ScopedEnvironment home("MEROVAN_HOME", dir.path().toUtf8() + "/./");
    EXPECT_EQ(Paths::applicationSupportFolder(), dir.path());
    EXPECT_EQ(Paths::logsFolder(), dir.path() + "/Logs");
    EXPECT_EQ(Paths::preferencesFile(), dir.path() + "/Merovan.conf");
}

TEST(Paths, OtherwiseTheUsersDataAndConfigurationFolders) {
    QTemporaryDir dir;
    ScopedEnvironment home("MEROVAN_HOME", QByteArray());
    ScopedEnvironment data("XDG_DATA_HOME", dir.filePath("data").toUtf8());
    ScopedEnvironment config("XDG_CONFIG_HOME", dir.filePath("config").toUtf8());
    EXPECT_EQ(Paths::applicationSupportFolder(), dir.filePath("data/Merovan"));
    EXPECT_EQ(Paths::logsFolder(), dir.filePath("data/Merovan/Logs"));
    EXPECT_EQ(Paths::preferencesFile(), dir.filePath("config/Merovan/Merovan.conf"));
}
