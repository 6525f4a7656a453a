#pragma once

// Runs the mediactl built with the suite (MEDIACTL_PATH) as a separate process, the way a person
// at a terminal does.

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

struct MediactlRun
{
    int exitCode = -1; // -1 when the tool crashed or did not end in time
    QString out;
    QString err;

    // For a failed check: how the run ended and what it said.
    QString outcome() const
    {
        return (exitCode == -1 ? QStringLiteral("crashed or killed")
                               : QStringLiteral("exit code %1").arg(exitCode))
                + QStringLiteral(", stderr:\n") + err;
    }
};

// A run that does not end within timeoutMs is killed.
inline MediactlRun
runMediactl(const QStringList &arguments, int timeoutMs = 60000,
            const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess tool;
    tool.setProcessEnvironment(environment);
    tool.start(QStringLiteral(MEDIACTL_PATH), arguments);
    MediactlRun run;
    if (!tool.waitForFinished(timeoutMs)) {
        tool.kill();
        tool.waitForFinished();
        return run;
    }
    run.exitCode = tool.exitStatus() == QProcess::NormalExit ? tool.exitCode() : -1;
    run.out = QString::fromUtf8(tool.readAllStandardOutput());
    run.err = QString::fromUtf8(tool.readAllStandardError());
    return run;
}
