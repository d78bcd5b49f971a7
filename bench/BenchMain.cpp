#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QTemporaryDir>

int storeBenchChild();

// The benchmarks run with their own application-support folder.
int main(int argc, char **argv) {
    QTemporaryDir home;
    qputenv("MEROVAN_HOME", home.path().toUtf8());
    QCoreApplication app(argc, argv);
    if (const int status = storeBenchChild(); status >= 0)
        return status;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
