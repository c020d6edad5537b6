#pragma once

#include "accounts/ExpiringAccounts.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QSpinBox;
class QTableWidget;
struct AppContext;

// frmExpiring: the accounts whose expiry or disable date falls within the chosen
// number of days or has passed, with what the sweep will do to each. The dates are
// read once per load; changing the days filters what was read.
class ExpiringWindow : public QDialog
{
    Q_OBJECT

public:
    enum Column { NameColumn, ExpiresColumn, DisableOnColumn, DaysLeftColumn, ActionColumn, ColumnCount };

    explicit ExpiringWindow(AppContext& context, QWidget* parent = nullptr);

    // Reads the dated accounts anew and shows those due within the chosen days.
    void popList();

    void spnDays_Change();
    void cmdRefresh_Click();
    void cmdExport_Click();
    void cmdClose_Click();

    // The shown accounts in the table's present order.
    QList<expiring::DueAccount> shownAccounts() const;

private:
    void setupControls();
    void setupLayout();
    void setupConnections();
    void fillTable();

    AppContext& m_ctx;
    QList<expiring::StoredDates> m_dated;
    QList<expiring::DueAccount> m_due;

    QSpinBox* m_spnDays = nullptr;
    QPushButton* m_cmdRefresh = nullptr;
    QTableWidget* m_tblAccounts = nullptr;
    QLabel* m_lblCount = nullptr;
    QPushButton* m_cmdExport = nullptr;
    QPushButton* m_cmdClose = nullptr;
};
