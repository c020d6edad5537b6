#pragma once

#include <QDialog>
#include <QPointer>

struct PageState;
class NumericKeyFilter;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTimer;
struct AppContext;

// frmIPAccess and frmGlobalIPAccess: the ordered list of IP rules of one account
// (blocked_ips_by_user) or of the whole server (blocked_ips), edited in the list
// and stored as a whole on OK. One class serves both; the scope picks the table,
// the captions, and whether a save is announced to the configuration window.
class IpRulesWindow : public QDialog
{
    Q_OBJECT

public:
    enum class Scope { Account, Global };

    IpRulesWindow(AppContext& context, PageState& page, Scope scope, QWidget* parent = nullptr);

    Scope scope() const { return m_scope; }
    // Fills lstRules from the database. The account dialog binds here to the main
    // window's current user and keeps that account until the next popList.
    void popList();
    QString boundUser() const { return m_boundUser; }

    void cmdAdd_Click();
    void cmdRemove_Click();
    void cmdUp_Click();
    void cmdDown_Click();
    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdHelp_Click();
    void tmrRules_Timer();

signals:
    // Emitted by the global dialog after a successful save.
    void globalRulesSaved();

protected:
    void reject() override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupControls();
    void setupLayout();
    void setupConnections();

    int selectedRow() const;
    void selectRow(int row);
    void moveSelected(int step);
    bool saveRules();

    // The entry box's check as the focus leaves it for another control of the dialog.
    void txtIPaddress_Validate();
    // Whether a button may act: the box is judged here when the focus never left it
    // (Enter, or a call from code), since then no focus change has judged it.
    bool entryAllowsAction();
    // Judges the box, beeping where the verdict asks for it; false when refused.
    bool judgeEntry();
    bool eatsRefusedClick(QObject* watched, const QEvent* event);

    AppContext& m_ctx;
    PageState& m_page;
    const Scope m_scope;
    QString m_boundUser;
    // The control a refused text kept the focus from; its click is swallowed.
    QPointer<QWidget> m_refusedTarget;

    NumericKeyFilter* m_numericKeys = nullptr;
    QGroupBox* m_frame1 = nullptr;
    QGroupBox* m_frame2 = nullptr;
    QListWidget* m_lstRules = nullptr;
    QLabel* m_label1 = nullptr;
    QLabel* m_label2 = nullptr;
    QLabel* m_label3 = nullptr;
    QLabel* m_label4 = nullptr;
    QLineEdit* m_txtIPaddress = nullptr;
    QPushButton* m_cmdUp = nullptr;
    QPushButton* m_cmdDown = nullptr;
    QPushButton* m_cmdRemove = nullptr;
    QPushButton* m_cmdAdd = nullptr;
    QPushButton* m_cmdOK = nullptr;
    QPushButton* m_cmdCancel = nullptr;
    QPushButton* m_cmdHelp = nullptr;
    QTimer* m_tmrRules = nullptr;
};
