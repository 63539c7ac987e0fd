// The fuzz targets outside the asan tree: each file named (or each file in a
// folder named) goes through the target once, so the ordinary build and CI
// replay the seeds and the committed regressions without clang or libFuzzer.
// A crash or a hang fails the run as it would under libFuzzer.
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char *argv[])
{
    LLVMFuzzerInitialize(&argc, &argv);
    QStringList inputs;
    for (int i = 1; i < argc; ++i) {
        const QString path = QFile::decodeName(argv[i]);
        if (QFileInfo(path).isDir()) {
            const QDir dir(path);
            for (const QString &name : dir.entryList(QDir::Files, QDir::Name))
                inputs << dir.filePath(name);
        } else {
            inputs << path;
        }
    }
    for (const QString &path : inputs) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "can't read %s\n", qPrintable(path));
            return 1;
        }
        const QByteArray data = file.readAll();
        std::fprintf(stderr, "%s\n", qPrintable(QFileInfo(path).fileName()));
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(data.constData()),
                               size_t(data.size()));
    }
    std::fprintf(stderr, "%lld inputs, no finding\n", static_cast<long long>(inputs.size()));
    return 0;
}
