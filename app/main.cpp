// Duoscope: starts the log on the system log, then the application with its one document.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <unistd.h>

#include <sys/socket.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QSocketNotifier>
#include <QTimer>

#include "CoreX/CoreMachDebugLog.h"
#include "app/AppController.h"
#include "app/DSCDocument.h"
#include "app/DSCDocumentWindow.h"
#include "app/DSCProduct.h"
#include "app/MainMenu.h"
#include "component/SharedCameraRecords.h"
#include "platform/folders/PlatformFolders.h"

char const* g_CoreMachDebug_LogPrefix = kDSCProductName;
char const* g_CoreMachDebug_LogFileName = "Duoscope.log";

namespace {

// SIGTERM and SIGINT are turned into a byte on this socket pair, read on the main thread,
// so the window's close path (cameras closed, switches stored) runs before the exit.
int sSignalSockets[2] = {-1, -1};

void OnTerminationSignal(int) {
    int const savedErrno = errno;  // the interrupted code may be about to read it
    char const byte = 1;
    [[maybe_unused]] ssize_t const written = write(sSignalSockets[0], &byte, 1);
    errno = savedErrno;
}

void InstallTerminationHandlers(AppController& controller) {
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sSignalSockets) != 0) {
        VERIFY(!"socketpair for SIGTERM");
        return;
    }
    auto* notifier = new QSocketNotifier(sSignalSockets[1], QSocketNotifier::Read, &controller);
    QObject::connect(notifier, &QSocketNotifier::activated, &controller, [&controller] {
        char byte = 0;
        [[maybe_unused]] ssize_t const read_ = read(sSignalSockets[1], &byte, 1);
        controller.closeAllDocuments();
        QApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = OnTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

// The broadcast needs the component among the resources; a program installed without it
// still runs, and says where it looked.
void CheckResources() {
    std::string const component =
        PlatformFolders::FolderPath(PlatformFolders::kApplicationResources) + "/" +
        kCameraComponentFileName;
    if (access(component.c_str(), R_OK) != 0) {
        CoreMachDebugLog("Resources incomplete: no %s; broadcasting will not work",
                         component.c_str());
    }
}

QCommandLineOption const& QuitAfterOption() {
    static QCommandLineOption const option(
        QStringLiteral("quit-after"),
        QStringLiteral("Quit, as closing the window does, after <milliseconds>."),
        QStringLiteral("milliseconds"));
    return option;
}

// Parses the command line; --help and --version print and exit here.
void ProcessOptions(QCommandLineParser& options, QCoreApplication& application) {
    QCoreApplication::setApplicationName(QString::fromLatin1(kDSCProductName));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(kDSCProductVersion));
    options.setApplicationDescription(QStringLiteral("Two webcams as one stereoscopic camera"));
    options.addHelpOption();
    options.addVersionOption();
    options.addOption(QuitAfterOption());
    options.process(application);
}

}  // namespace

int main(int argc, char* argv[]) {
    CoreMachDebugLogSetUseLogger(kCoreLogOutputASL);

    // Asking for help or the version needs no display.
    bool const informational = std::any_of(argv + 1, argv + argc, [](char const* argument) {
        QByteArray const option(argument);
        return option == "-h" || option == "--help" || option == "--help-all" || option == "-v" ||
               option == "--version";
    });
    if (informational) {
        QCoreApplication core(argc, argv);
        QCommandLineParser options;
        ProcessOptions(options, core);
        return 0;
    }

    QApplication application(argc, argv);
    QApplication::setDesktopFileName(QStringLiteral("org.duoscope.Duoscope"));
    QCommandLineParser options;
    ProcessOptions(options, application);
    QCommandLineOption const& quitAfter = QuitAfterOption();
    CheckResources();

    AppController controller;
    MainMenu mainMenu(controller);
    QObject::connect(&controller, &AppController::documentOpened, &mainMenu,
                     [&mainMenu](DSCDocument* document) {
                         mainMenu.installInto(document->window()->menuBar());
                     });
    controller.awakeFromNib();
    InstallTerminationHandlers(controller);

    controller.applicationDidFinishLaunching(&application);
    controller.newDocument(nullptr);  // the untitled document every launch opens
    if (options.isSet(quitAfter)) {
        bool valid = false;
        int const milliseconds = options.value(quitAfter).toInt(&valid);
        VERIFY(valid && milliseconds >= 0);
        QTimer::singleShot(valid ? std::max(milliseconds, 0) : 0, &controller, [&controller] {
            controller.closeAllDocuments();
            QApplication::quit();
        });
    }
    int const result = QApplication::exec();
    controller.applicationWillTerminate(&application);
    return result;
}
