// Runs a fuzz target over the files of its seed corpus (files or folders given
// on the command line), so that the corpus is replayed by every test run.
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        QStringList files;
        if (QFileInfo(path).isDir()) {
            QDirIterator it(path, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                files << it.next();
        } else {
            files << path;
        }
        for (const QString &file : files) {
            QFile input(file);
            if (!input.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(file));
                return 1;
            }
            const QByteArray data = input.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(data.constData()),
                                   size_t(data.size()));
            ++count;
        }
    }
    std::printf("replayed %d inputs\n", count);
    return count > 0 ? 0 : 1;
}
