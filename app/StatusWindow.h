#pragma once

#include <QDialog>

class QPlainTextEdit;
class QPushButton;
class StatusLog;

// frmStatus: shows the program's trace, every line since the start that the log
// still keeps.
class StatusWindow : public QDialog
{
    Q_OBJECT

public:
    explicit StatusWindow(StatusLog& log, QWidget* parent = nullptr);

    QString logText() const;
    void cmdOK_Click();

private:
    void setupControls();
    void appendLine(const QString& line);

    StatusLog& m_log;
    QPlainTextEdit* m_txtLog = nullptr;
    QPushButton* m_cmdOK = nullptr;
};
