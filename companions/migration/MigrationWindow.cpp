#include "MigrationWindow.h"

#include "AccountStatements.h"
#include "IniUsers.h"

#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "server/ProFtpdSync.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDir>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSaveFile>
#include <QStackedWidget>
#include <QStyle>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

enum AccountColumn { NameColumn, HomeColumn, StatusColumn, PlanColumn, AccountColumns };
enum NotCarriedColumn { OwnerColumn, KeyColumn, ValueColumn, ReasonColumn, NotCarriedColumns };

const QString StatusNew = QStringLiteral("new");
const QString StatusExisting = QStringLiteral("already in the database");
const QString StatusRefused = QStringLiteral("cannot be imported");

QString generationText(migration::Generation generation)
{
    return generation == migration::Generation::V2 ? QStringLiteral("FTP server 2.0 to 3.0")
                                                   : QStringLiteral("FTP server 4.0 and later");
}

QLabel* headingLabel(const QString& objectName)
{
    auto* label = new QLabel;
    label->setObjectName(objectName);
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.25);
    label->setFont(font);
    return label;
}

QLabel* hintLabel(const QString& objectName, const QString& text)
{
    auto* label = new QLabel(text);
    label->setObjectName(objectName);
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    label->setPalette(palette);
    return label;
}

QLabel* valueLabel(const QString& objectName)
{
    auto* label = new QLabel;
    label->setObjectName(objectName);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QPushButton* button(const QString& objectName, const QString& text)
{
    auto* target = new QPushButton(text);
    target->setObjectName(objectName);
    target->setMinimumWidth(110);
    return target;
}

QTableWidget* readOnlyTable(const QString& objectName, const QStringList& headers)
{
    auto* table = new QTableWidget(0, static_cast<int>(headers.size()));
    table->setObjectName(objectName);
    table->setHorizontalHeaderLabels(headers);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setAlternatingRowColors(true);
    table->setWordWrap(false);
    table->verticalHeader()->hide();
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return table;
}

// One column takes the room left; the others are as wide as their contents, but
// none so wide that the rest leave the view.
void fitColumns(QTableWidget* table, int stretched, int widest)
{
    QHeaderView* header = table->horizontalHeader();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(stretched, QHeaderView::Stretch);
    table->resizeColumnsToContents();
    for (int column = 0; column < table->columnCount(); ++column) {
        if (column != stretched)
            table->setColumnWidth(column, qMin(table->columnWidth(column) + 16, widest));
    }
}

QTableWidgetItem* cell(const QString& text)
{
    auto* item = new QTableWidgetItem(text);
    item->setToolTip(text);
    return item;
}

QString plural(qsizetype count, const QString& one, const QString& many)
{
    return QString::number(count) + QLatin1Char(' ') + (count == 1 ? one : many);
}

} // namespace

MigrationWindow::MigrationWindow(migration::Generation generation, SettingsStore& settings, const DateForm& dates,
                                 Prompter& prompter, QWidget* parent)
    : QWidget(parent)
    , m_generation(generation)
    , m_settings(settings)
    , m_dates(dates)
    , m_prompter(prompter)
{
    setupControls();
    setupLayout();
    setupConnections();
}

QString MigrationWindow::caption()
{
    return QStringLiteral("Vantrel Migration Utility");
}

void MigrationWindow::setupControls()
{
    setObjectName(QStringLiteral("frmMigration"));
    setWindowTitle(caption() + QStringLiteral(" (") + generationText(m_generation) + QLatin1Char(')'));
    setupPreviewPage();
    setupSummaryPage();
}

void MigrationWindow::setupPreviewPage()
{
    m_lblIniPath = valueLabel(QStringLiteral("lblIniPath"));
    m_lblAccountCount = valueLabel(QStringLiteral("lblAccountCount"));
    m_lblGlobalRules = valueLabel(QStringLiteral("lblGlobalRules"));

    m_tblAccounts = readOnlyTable(QStringLiteral("tblAccounts"),
                                  {QStringLiteral("Name"), QStringLiteral("Home folder"), QStringLiteral("Status"),
                                   QStringLiteral("On import")});
    m_tblNotCarried = readOnlyTable(QStringLiteral("tblNotCarried"), {QStringLiteral("Account"), QStringLiteral("Key"),
                                                                      QStringLiteral("Value"), QStringLiteral("Why")});
    // The reasons are sentences: they wrap, and each row grows to show its whole text.
    m_tblNotCarried->setWordWrap(true);
    m_tblNotCarried->setTextElideMode(Qt::ElideNone);
    m_tblNotCarried->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_lstWarnings = new QListWidget;
    m_lstWarnings->setObjectName(QStringLiteral("lstWarnings"));
    m_lstWarnings->setWordWrap(true);
    m_lstWarnings->setAlternatingRowColors(true);

    m_tabDetails = new QTabWidget;
    m_tabDetails->setObjectName(QStringLiteral("tabDetails"));
    m_tabDetails->setDocumentMode(true);
    m_tabDetails->addTab(m_tblAccounts, QString());
    m_tabDetails->addTab(m_tblNotCarried, QString());
    m_tabDetails->addTab(m_lstWarnings, QString());

    m_chkReplace = new QCheckBox(QStringLiteral("Replace existing accounts"));
    m_chkReplace->setObjectName(QStringLiteral("chkReplace"));
    m_lblReplaceHint = hintLabel(QStringLiteral("lblReplaceHint"),
                                 QStringLiteral("Unticked, an account the database already holds is left as it is. Ticked, it is "
                                                "deleted with its directory rights, file rights and IP rules, and written anew "
                                                "from the INI file."));

    m_prgImport = new QProgressBar;
    m_prgImport->setObjectName(QStringLiteral("prgImport"));
    m_prgImport->setFormat(QStringLiteral("%v of %m accounts"));
    m_prgImport->setMinimumWidth(260);
    m_prgImport->hide();
    m_lblProgress = new QLabel;
    m_lblProgress->setObjectName(QStringLiteral("lblProgress"));

    m_cmdImport = button(QStringLiteral("cmdImport"), QStringLiteral("Import"));
    m_cmdImport->setDefault(true);
    m_cmdCancel = button(QStringLiteral("cmdCancel"), QStringLiteral("Cancel"));
}

void MigrationWindow::setupSummaryPage()
{
    m_lblSummaryIcon = new QLabel;
    m_lblSummaryIcon->setObjectName(QStringLiteral("lblSummaryIcon"));
    m_lblSummaryHeading = headingLabel(QStringLiteral("lblSummaryHeading"));
    m_lblSummaryCounts = valueLabel(QStringLiteral("lblSummaryCounts"));

    m_txtSummary = new QPlainTextEdit;
    m_txtSummary->setObjectName(QStringLiteral("txtSummary"));
    m_txtSummary->setReadOnly(true);
    m_txtSummary->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_txtSummary->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    m_lblSaved = new QLabel;
    m_lblSaved->setObjectName(QStringLiteral("lblSaved"));
    m_lblSaved->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_cmdSaveSummary = button(QStringLiteral("cmdSaveSummary"), QStringLiteral("Save Summary..."));
    m_cmdClose = button(QStringLiteral("cmdClose"), QStringLiteral("Close"));
    m_cmdClose->setDefault(true);
}

void MigrationWindow::setupLayout()
{
    const int gap = style()->pixelMetric(QStyle::PM_LayoutVerticalSpacing);

    m_fraPreview = new QWidget;
    m_fraPreview->setObjectName(QStringLiteral("fraPreview"));
    auto* facts = new QFormLayout;
    facts->setLabelAlignment(Qt::AlignLeft);
    facts->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    facts->addRow(QStringLiteral("INI file:"), m_lblIniPath);
    facts->addRow(QStringLiteral("Accounts:"), m_lblAccountCount);
    facts->addRow(QStringLiteral("Server-wide rules:"), m_lblGlobalRules);

    auto* previewButtons = new QHBoxLayout;
    previewButtons->addWidget(m_prgImport);
    previewButtons->addWidget(m_lblProgress);
    previewButtons->addStretch(1);
    previewButtons->addWidget(m_cmdImport);
    previewButtons->addWidget(m_cmdCancel);

    auto* preview = new QVBoxLayout(m_fraPreview);
    preview->setContentsMargins(0, 0, 0, 0);
    QLabel* heading = headingLabel(QStringLiteral("lblPreviewHeading"));
    heading->setText(QStringLiteral("Accounts found in the FTP server's INI file"));
    preview->addWidget(heading);
    preview->addWidget(hintLabel(QStringLiteral("lblPreviewHint"),
                                 QStringLiteral("Check what will be carried into Quillmere's accounts database. Nothing is "
                                                "written until you press Import.")));
    preview->addSpacing(gap);
    preview->addLayout(facts);
    preview->addSpacing(gap);
    preview->addWidget(m_tabDetails, 1);
    preview->addSpacing(gap);
    preview->addWidget(m_chkReplace);
    preview->addWidget(m_lblReplaceHint);
    preview->addSpacing(gap);
    preview->addLayout(previewButtons);

    m_fraSummary = new QWidget;
    m_fraSummary->setObjectName(QStringLiteral("fraSummary"));
    auto* headline = new QHBoxLayout;
    headline->addWidget(m_lblSummaryIcon);
    headline->addWidget(m_lblSummaryHeading, 1);
    auto* summaryButtons = new QHBoxLayout;
    summaryButtons->addWidget(m_lblSaved, 1);
    summaryButtons->addWidget(m_cmdSaveSummary);
    summaryButtons->addWidget(m_cmdClose);
    auto* summary = new QVBoxLayout(m_fraSummary);
    summary->setContentsMargins(0, 0, 0, 0);
    summary->addLayout(headline);
    summary->addWidget(m_lblSummaryCounts);
    summary->addSpacing(gap);
    summary->addWidget(m_txtSummary, 1);
    summary->addSpacing(gap);
    summary->addLayout(summaryButtons);

    m_pages = new QStackedWidget;
    m_pages->setObjectName(QStringLiteral("stkPages"));
    m_pages->addWidget(m_fraPreview);
    m_pages->addWidget(m_fraSummary);

    auto* layout = new QVBoxLayout(this);
    const int margin = style()->pixelMetric(QStyle::PM_LayoutLeftMargin) * 3 / 2;
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->addWidget(m_pages);
    resize(860, 600);
    setMinimumSize(640, 460);
}

void MigrationWindow::setupConnections()
{
    connect(m_cmdImport, &QPushButton::clicked, this, &MigrationWindow::cmdImport_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &MigrationWindow::cmdCancel_Click);
    connect(m_cmdSaveSummary, &QPushButton::clicked, this, &MigrationWindow::cmdSaveSummary_Click);
    connect(m_cmdClose, &QPushButton::clicked, this, &MigrationWindow::cmdClose_Click);
    connect(m_chkReplace, &QCheckBox::toggled, this, &MigrationWindow::chkReplace_Toggled);
}

MigrationWindow::Preparation MigrationWindow::prepare()
{
    if (!readConfiguration())
        return Preparation::Failed;
    if (!confirmServerStopped())
        return Preparation::Cancelled;
    if (!readIniFile() || !findExistingAccounts())
        return Preparation::Failed;
    showPreview();
    return Preparation::Ready;
}

void MigrationWindow::tell(const QString& text)
{
    m_prompter.tell(caption(), text, prompt::Icon::Exclamation);
}

bool MigrationWindow::readConfiguration()
{
    m_iniPath = m_settings.getRegSettings(QStringLiteral("ini_path")).trimmed();
    m_connectionString = m_settings.readConnectionString().trimmed();
    if (!m_iniPath.isEmpty() && !m_connectionString.isEmpty())
        return true;
    const QString missing = m_iniPath.isEmpty() && m_connectionString.isEmpty()
        ? QStringLiteral("the FTP server's INI file and the accounts database")
        : m_iniPath.isEmpty() ? QStringLiteral("the FTP server's INI file")
                              : QStringLiteral("the accounts database");
    tell(QStringLiteral("The migration cannot start: Quillmere's settings do not name %1.\n\n"
                        "Open Quillmere, save its configuration window (Tools, Configure), and run the migration again.\n\n"
                        "Settings read: %2")
             .arg(missing, m_settings.filePath()));
    return false;
}

bool MigrationWindow::confirmServerStopped()
{
    const prompt::Answer answer = m_prompter.ask(
        caption(),
        QStringLiteral("Stop the FTP server before you go on.\n\n"
                       "The server keeps its users in memory and writes its INI file again when it stops, so a running "
                       "server could change the file while it is read, and would go on serving the old accounts.\n\n"
                       "Press OK when the FTP server is stopped, or Cancel to end without changing anything."),
        prompt::Icon::Exclamation, prompt::Buttons::OkCancel, prompt::Answer::Cancel);
    return answer == prompt::Answer::Ok;
}

bool MigrationWindow::readIniFile()
{
    const migration::ReadOutcome outcome = migration::readIniUsers(m_iniPath, m_generation, m_dates);
    if (!outcome.ok) {
        tell(QStringLiteral("The FTP server's INI file could not be read, so nothing has been imported.\n\n") + outcome.error);
        return false;
    }
    m_source = outcome.source;
    return true;
}

bool MigrationWindow::findExistingAccounts()
{
    QString error;
    const auto existing = migration::MigrationImporter(m_connectionString).existingNames(m_source, &error);
    if (!existing) {
        tell(QStringLiteral("The accounts database could not be read, so nothing has been imported.\n\n%1\n\n"
                            "Check the database in Quillmere's configuration window and run the migration again.")
                 .arg(error));
        return false;
    }
    m_existing = *existing;
    return true;
}

void MigrationWindow::showPreview()
{
    m_lblIniPath->setText(m_iniPath);
    const qsizetype total = m_source.accounts.size();
    qsizetype refused = 0;
    for (const migration::MigratedAccount& account : m_source.accounts)
        refused += migration::refusalReason(account) ? 1 : 0;
    if (total == 0) {
        m_lblAccountCount->setText(QStringLiteral("The INI file holds no accounts."));
    } else {
        QString text = plural(total, QStringLiteral("account"), QStringLiteral("accounts")) + QStringLiteral(": ")
            + QString::number(total - m_existing.size() - refused) + QStringLiteral(" new, ")
            + QString::number(m_existing.size()) + QStringLiteral(" already in the database");
        if (refused > 0)
            text += QStringLiteral(", ") + QString::number(refused) + QStringLiteral(" cannot be imported");
        m_lblAccountCount->setText(text);
    }
    const qsizetype rules = m_source.globalDeniedIps.size();
    m_lblGlobalRules->setText(rules == 0 ? QStringLiteral("none")
                                         : plural(rules, QStringLiteral("IP deny rule"), QStringLiteral("IP deny rules"))
                                               + QStringLiteral(" for all accounts (added where the database lacks them)"));
    fillAccounts();
    fillNotCarried();
    fillWarnings();
    m_chkReplace->setEnabled(!m_existing.isEmpty());
    m_cmdImport->setEnabled(total > 0 || rules > 0);
    m_pages->setCurrentWidget(m_fraPreview);
}

void MigrationWindow::fillAccounts()
{
    const bool replacing = m_chkReplace->isChecked();
    m_tblAccounts->setRowCount(static_cast<int>(m_source.accounts.size()));
    int row = 0;
    for (const migration::MigratedAccount& account : m_source.accounts) {
        const auto refusal = migration::refusalReason(account);
        const bool existing = m_existing.contains(account.name);
        QString status = existing ? StatusExisting : StatusNew;
        QString plan = existing ? (replacing ? QStringLiteral("replace") : QStringLiteral("leave as it is")) : QStringLiteral("add");
        QColor tint;
        if (refusal) {
            status = StatusRefused;
            plan = QStringLiteral("none: ") + *refusal;
            tint = QColor(0xa3, 0x1d, 0x1d);
        } else if (existing) {
            tint = QColor(0x8a, 0x52, 0x00);
        }
        m_tblAccounts->setItem(row, NameColumn, cell(account.name));
        m_tblAccounts->setItem(row, HomeColumn, cell(account.homedir));
        m_tblAccounts->setItem(row, StatusColumn, cell(status));
        m_tblAccounts->setItem(row, PlanColumn, cell(plan));
        if (tint.isValid()) {
            m_tblAccounts->item(row, StatusColumn)->setForeground(tint);
            m_tblAccounts->item(row, PlanColumn)->setForeground(tint);
        }
        ++row;
    }
    fitColumns(m_tblAccounts, HomeColumn, 320);
    m_tabDetails->setTabText(m_tabDetails->indexOf(m_tblAccounts),
                             QStringLiteral("Accounts (%1)").arg(m_source.accounts.size()));
}

void MigrationWindow::fillNotCarried()
{
    QList<migration::NotCarried> entries;
    for (const migration::MigratedAccount& account : m_source.accounts) {
        for (migration::NotCarried entry : account.notCarried) {
            if (entry.account.isEmpty())
                entry.account = account.name;
            entries << entry;
        }
    }
    entries << m_source.notCarried;
    m_tblNotCarried->setRowCount(static_cast<int>(entries.size()));
    int row = 0;
    for (const migration::NotCarried& entry : entries) {
        m_tblNotCarried->setItem(row, OwnerColumn, cell(entry.account.isEmpty() ? QStringLiteral("(server)") : entry.account));
        m_tblNotCarried->setItem(row, KeyColumn, cell(entry.key));
        m_tblNotCarried->setItem(row, ValueColumn, cell(entry.value));
        m_tblNotCarried->setItem(row, ReasonColumn, cell(entry.reason));
        ++row;
    }
    fitColumns(m_tblNotCarried, ReasonColumn, 170);
    m_tabDetails->setTabText(m_tabDetails->indexOf(m_tblNotCarried), QStringLiteral("Not carried over (%1)").arg(entries.size()));
}

void MigrationWindow::fillWarnings()
{
    m_lstWarnings->clear();
    m_lstWarnings->addItems(m_source.warnings);
    m_tabDetails->setTabText(m_tabDetails->indexOf(m_lstWarnings), QStringLiteral("Warnings (%1)").arg(m_source.warnings.size()));
}

void MigrationWindow::chkReplace_Toggled()
{
    fillAccounts();
}

void MigrationWindow::cmdImport_Click()
{
    if (m_importing)
        return;
    m_importing = true;
    m_stopRequested = false;
    m_cmdImport->setEnabled(false);
    m_chkReplace->setEnabled(false);
    m_cmdCancel->setText(QStringLiteral("Stop"));
    const int total = static_cast<int>(m_source.accounts.size());
    // With no accounts (only server-wide rules) the bar just shows that work goes on.
    m_prgImport->setRange(0, total);
    m_prgImport->setValue(0);
    m_prgImport->show();

    migration::ImportOptions options;
    options.replaceExisting = m_chkReplace->isChecked();
    // The import runs here, in the thread that opens its connection; the progress
    // callback keeps the window painting and lets Stop be pressed.
    m_report = migration::MigrationImporter(m_connectionString).run(m_source, options, [this](int done, int) { return importProgress(done); });
    m_importing = false;
    // The import wrote accounts (or server-wide rules) past the program's sessions.
    proftpd::keepCurrent(m_settings, m_prompter, {});
    showSummary();
}

bool MigrationWindow::importProgress(int done)
{
    m_prgImport->setValue(done);
    QCoreApplication::processEvents();
    return !m_stopRequested;
}

void MigrationWindow::showSummary()
{
    m_summary = migration::summaryText(m_source, m_report);
    m_txtSummary->setPlainText(m_summary);

    const bool stopped = !m_report.stoppedBy.isEmpty();
    const bool troubled = stopped || !m_report.failed.isEmpty() || m_report.cancelled;
    m_lblSummaryHeading->setText(stopped                ? QStringLiteral("The import stopped")
                                 : m_report.cancelled   ? QStringLiteral("The import was stopped by you")
                                 : m_report.failed.size() ? QStringLiteral("The import finished, with failures")
                                                          : QStringLiteral("The import finished"));
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize) * 2 / 3;
    m_lblSummaryIcon->setPixmap(
        style()->standardIcon(troubled ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation).pixmap(iconSize));

    QStringList counts{QString::number(m_report.imported.size()) + QStringLiteral(" imported"),
                       QString::number(m_report.replaced.size()) + QStringLiteral(" replaced"),
                       QString::number(m_report.skippedExisting.size()) + QStringLiteral(" left as they were"),
                       QString::number(m_report.failed.size()) + QStringLiteral(" failed")};
    if (!m_report.notReached.isEmpty())
        counts << QString::number(m_report.notReached.size()) + QStringLiteral(" not tried");
    QString text = counts.join(QStringLiteral(", ")) + QStringLiteral("; ")
        + plural(m_report.globalRulesAdded.size(), QStringLiteral("server-wide IP rule"), QStringLiteral("server-wide IP rules"))
        + QStringLiteral(" added.");
    if (stopped)
        text += QLatin1Char('\n') + m_report.stoppedBy;
    m_lblSummaryCounts->setText(text);
    m_lblSaved->clear();
    m_pages->setCurrentWidget(m_fraSummary);
    m_cmdClose->setFocus();
}

void MigrationWindow::cmdCancel_Click()
{
    if (m_importing) {
        m_stopRequested = true;
        m_cmdCancel->setEnabled(false);
        m_lblProgress->setText(QStringLiteral("Stopping after this account..."));
        return;
    }
    close();
}

void MigrationWindow::cmdSaveSummary_Click()
{
    prompt::FileChoice choice;
    choice.mode = prompt::FileChoice::Mode::Save;
    choice.title = QStringLiteral("Save Summary");
    choice.filterName = QStringLiteral("Text Files (*.txt)");
    choice.pattern = QStringLiteral("*.txt");
    choice.initialName = QStringLiteral("migration-summary.txt");
    choice.initialFolder = QDir::homePath();
    const QString path = m_prompter.chooseFile(choice);
    if (path.isEmpty())
        return;
    QSaveFile file(path);
    const QByteArray bytes = m_summary.toUtf8();
    const bool written = file.open(QIODevice::WriteOnly | QIODevice::Text) && file.write(bytes) == bytes.size() && file.commit();
    if (!written) {
        tell(QStringLiteral("The summary could not be saved to %1.\n\n%2").arg(QDir::toNativeSeparators(path), file.errorString()));
        return;
    }
    m_lblSaved->setText(QStringLiteral("Saved to ") + QDir::toNativeSeparators(path));
}

void MigrationWindow::cmdClose_Click()
{
    close();
}

void MigrationWindow::closeEvent(QCloseEvent* event)
{
    // Closing in the middle of an account would leave the administrator without
    // the summary; it stops after the account being written instead.
    if (m_importing) {
        cmdCancel_Click();
        event->ignore();
        return;
    }
    event->accept();
}
