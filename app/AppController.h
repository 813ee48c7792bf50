#pragma once
// The application delegate: titles the About item, checks the interface modules, and keeps
// the application to one stereo document (a second New only beeps).

#include <QObject>
#include <QPointer>

class QAction;
class DSCDocument;

class AppController : public QObject {
    Q_OBJECT
public:
    AppController();
    ~AppController() override;

    // Outlet set by the main menu.
    void setAboutAppMenuItem(QAction* item) { _AboutAppMenuItem = item; }
    QAction* aboutAppMenuItem() const { return _AboutAppMenuItem; }

    void awakeFromNib();
    void applicationDidFinishLaunching(QObject* notification) {}
    void applicationWillTerminate(QObject* notification) {}

    // File > New: opens the one document, or beeps when it is already open.
    void newDocument(QObject* sender);
    void showAboutBox();
    // Closes every document window, running each one's close path.
    void closeAllDocuments();

    DSCDocument* currentDocument() const;

signals:
    // A new document was made and its window shown (the main menu installs itself there).
    void documentOpened(DSCDocument* document);
    // The alert sound was played.
    void alertBeep();

private:
    QAction* _AboutAppMenuItem = nullptr;
    QPointer<DSCDocument> mDocument;
};
