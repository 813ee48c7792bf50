#pragma once
// The document's main window; tells its document before it closes.

#include <QMainWindow>

class DSCDocumentWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit DSCDocumentWindow(QWidget* parent = nullptr) : QMainWindow(parent) {}

signals:
    void windowWillClose();

protected:
    void closeEvent(QCloseEvent* event) override;
};
