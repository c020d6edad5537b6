#pragma once

#include <QDialog>

class QRadioButton;
struct AppContext;

// frmMigrate: chooses the FTP server's generation, writes the matching migration
// tool beside the program as "migration.exe", starts it and ends the program, so
// the tool works on a quiet database.
class MigrateWindow : public QDialog
{
    Q_OBJECT

public:
    explicit MigrateWindow(AppContext& context, QWidget* parent = nullptr);

    // The embedded tool the current choice writes.
    int chosenResource() const;

    void cmdOK_Click();
    void cmdCancel_Click();

protected:
    void reject() override;

private:
    void setupControls();
    void setupLayout();

    AppContext& m_ctx;
    QRadioButton* m_optVersion0 = nullptr;
    QRadioButton* m_optVersion1 = nullptr;
};

namespace migration {

// The warning of Tools -> Migration Utility; true when the administrator answers Yes.
bool confirmLaunch(AppContext& context);

} // namespace migration
