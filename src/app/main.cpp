#include "SelfTest.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    bool selfTest = false;
    for (int i = 1; i < argc; ++i)
        if (qstrcmp(argv[i], "--selftest") == 0)
            selfTest = true;
    if (selfTest) {
        QCoreApplication app(argc, argv);
        return SelfTest::run();
    }
    std::fputs("The Quirebook window is not part of this build yet.\n"
               "Run “quirebook --selftest” to check the program, or use quirebook-cli.\n",
               stderr);
    return 1;
}
