#include "CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QStringList>

#include <cstdio>

namespace {

// What QApplication takes out of the arguments itself, with a value or without.
const char* const QtOptionsWithValue[] = {"platform",
                                          "platformpluginpath",
                                          "platformtheme",
                                          "plugin",
                                          "qmljsdebugger",
                                          "qwindowgeometry",
                                          "qwindowicon",
                                          "qwindowtitle",
                                          "session",
                                          "display",
                                          "geometry",
                                          "name",
                                          "title",
                                          "visual",
                                          "ncols",
                                          "cmap",
                                          "style",
                                          "stylesheet",
                                          "fn",
                                          "font",
                                          "bg",
                                          "background",
                                          "fg",
                                          "foreground",
                                          "btn",
                                          "button",
                                          "im",
                                          "inputstyle"};
const char* const QtFlags[] = {"reverse", "nograb", "dograb", "sync", "widgetcount", "graphicssystem"};

} // namespace

std::optional<int> CommandLine::handle(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    QCommandLineParser parser;
    parser.setApplicationDescription(QCoreApplication::translate(
        "main",
        "Shows in the notification area whether this computer is protected by the Trevanta "
        "anti-virus suite. Starting it again opens the running copy's status window."));
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    for (const char* name : QtOptionsWithValue) {
        QCommandLineOption option(QString::fromLatin1(name), QString(), QStringLiteral("value"));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(option);
    }
    for (const char* name : QtFlags) {
        QCommandLineOption option(QString::fromLatin1(name));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(option);
    }

    if (!parser.parse(arguments)) {
        std::fprintf(stderr, "wardlet: %s\n", qPrintable(parser.errorText()));
        return 2;
    }
    if (!parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "wardlet: unexpected argument '%s'\n",
                     qPrintable(parser.positionalArguments().first()));
        return 2;
    }
    if (parser.isSet(help)) {
        // The help text names the program after the application object's first argument.
        int count = 1;
        char name[] = "wardlet";
        char* names[] = {name, nullptr};
        const QCoreApplication application(count, names);
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    if (parser.isSet(version)) {
        std::printf("%s %s\n", qPrintable(QCoreApplication::applicationName()),
                    qPrintable(QCoreApplication::applicationVersion()));
        return 0;
    }
    return std::nullopt;
}
