#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

// The updater's own small window: what it is doing, and why it stopped if it did.
class UpdaterWindow : public QWidget
{
    Q_OBJECT

public:
    UpdaterWindow();

    void showProgress(const QString& text);
    // Shows why the update stopped and waits for the administrator to close.
    void showFailure(const QString& text);

private:
    QLabel* m_text = nullptr;
    QPushButton* m_close = nullptr;
};
