#pragma once

#include "accounts/PageState.h"

#include <QDialog>

class QLineEdit;
class QPushButton;
class UserPage;
struct AppContext;

// frmAddEditDir: asks for the path of a directory entry, to add one or to edit the
// selected one. Shown modally; only hidden afterwards.
class AddEditDirWindow : public QDialog
{
    Q_OBJECT

public:
    enum class Mode { Add, Edit };

    AddEditDirWindow(AppContext& context, PageState& page, UserPage& userPage);

    void prepareAdd(const QString& proposedPath);
    void prepareEdit(const QString& path);
    Mode mode() const { return m_mode; }
    // The path the dialog was opened with for editing.
    QString pathTag() const { return m_pathTag; }

    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdBrowse_Click();

private:
    void setupControls();

    AppContext& m_ctx;
    PageState& m_page;
    UserPage& m_userPage;
    Mode m_mode = Mode::Add;
    QString m_pathTag;
    QLineEdit* m_txtPath = nullptr;
};
