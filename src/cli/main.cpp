#include "Cli.h"
#include "Searchable.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    Searchable::limitRecognitionThreads(argv);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quirebook-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUIREBOOK_VERSION));
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return Cli::run(arguments);
}
