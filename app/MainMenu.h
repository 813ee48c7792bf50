#pragma once
// The application's menu commands (File: New, Close, Quit; Help: About), shared by every
// document window's menu bar.

#include <QObject>

class AppController;
class QAction;
class QMenuBar;

class MainMenu : public QObject {
    Q_OBJECT
public:
    // Creates the commands, connects them to the controller and sets its About outlet.
    explicit MainMenu(AppController& controller);

    void installInto(QMenuBar* menuBar) const;

    QAction* newItem() const { return mNew; }
    QAction* aboutItem() const { return mAbout; }

private:
    QAction* mNew;
    QAction* mClose;
    QAction* mQuit;
    QAction* mAbout;
};
