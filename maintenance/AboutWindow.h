#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

// frmAbout: the program's name and version. Ctrl+Shift with a click on the icon
// reveals the main window's hidden "Show Log" item.
class AboutWindow : public QDialog
{
    Q_OBJECT

public:
    explicit AboutWindow(QWidget* parent = nullptr);

    static QString titleText();
    void cmdClose1_Click();

signals:
    void showLogRevealed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupControls();

    QLabel* m_picIcon = nullptr;
    QLabel* m_lblTitle = nullptr;
    QPushButton* m_cmdClose1 = nullptr;
};
