#pragma once

#include <QDialog>

class QLineEdit;
struct AppContext;

// frmProFtpd: the ProFTPD configuration file the program keeps current and the pid
// file of the server to tell. OK stores both and writes the file at once; an empty
// file name stops the keeping.
class ProFtpdWindow : public QDialog
{
    Q_OBJECT

public:
    explicit ProFtpdWindow(AppContext& context, QWidget* parent = nullptr);

    // Shows the stored paths.
    void thisFormLoadData();
    void cmdOK_Click();
    void cmdCancel_Click();

private:
    void setupControls();

    AppContext& m_ctx;
    QLineEdit* m_txtConfigFile = nullptr;
    QLineEdit* m_txtPidFile = nullptr;
};
