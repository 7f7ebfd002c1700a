#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QProcess>

namespace ondrel {

#ifndef ONDREL_CLI_PATH
#define ONDREL_CLI_PATH "ondrel"
#endif

CommandResult runOndrel(const QString& home, const QStringList& arguments, int timeoutMs) {
    QProcess process;
    QStringList all;
    if (!home.isEmpty())
        all << QStringLiteral("--home") << home;
    all << arguments;
    process.start(QStringLiteral(ONDREL_CLI_PATH), all);
    CommandResult result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        result.err = QStringLiteral("timed out");
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

bool writeTone(const QString& path, int channels, double seconds) {
    QProcess sox;
    sox.start(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("48000"), QStringLiteral("-b"),
                                      QStringLiteral("16"), QStringLiteral("-c"), QString::number(channels), path,
                                      QStringLiteral("synth"), QString::number(seconds), QStringLiteral("sine"),
                                      QStringLiteral("440")});
    return sox.waitForFinished(60000) && sox.exitStatus() == QProcess::NormalExit && sox.exitCode() == 0;
}

} // namespace ondrel
