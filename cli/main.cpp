#include "cli/cli.h"

#include <QCoreApplication>
#include <QTextStream>

#include <pwd.h>
#include <unistd.h>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarnwick-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TARNWICK_VERSION));

    Cli::Environment environment;
    environment.euid = geteuid();
    environment.sudoUser = qEnvironmentVariable("SUDO_USER");
    environment.homeOf = [](const QString& user) {
        const passwd* entry = getpwnam(user.toLocal8Bit().constData());
        return entry ? QString::fromLocal8Bit(entry->pw_dir) : QString();
    };

    QTextStream out(stdout);
    QTextStream err(stderr);
    return Cli::run(app.arguments(), out, err, environment);
}
