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

} // namespace ondrel
