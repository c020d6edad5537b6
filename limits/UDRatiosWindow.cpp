#include "limits/UDRatiosWindow.h"

#include "accounts/PageState.h"
#include "db/SqlText.h"
#include "limits/LoadedAccount.h"
#include "limits/Numbers.h"
#include "maintenance/Help.h"
#include "platform/Named.h"
#include "platform/NumericKeyFilter.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/Session.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

constexpr double Kilobyte = 1024.0;
constexpr double Megabyte = 1048576.0;

bool shows(const QLabel* label, const char* text)
{
    return label->text().trimmed().compare(QLatin1String(text), Qt::CaseInsensitive) == 0;
}

} // namespace

UDRatiosWindow::UDRatiosWindow(AppContext& context, PageState& page, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
    , m_page(page)
{
    setObjectName(QStringLiteral("frmUDRatios"));
    setWindowTitle(QStringLiteral("User Upload/Download Ratios"));
    setupControls();
    setupLayout();
    setupRules();
    thisFormLoadData();
}

void UDRatiosWindow::setupControls()
{
    m_numericKeys = new NumericKeyFilter([this] { m_ctx.logStatus(QStringLiteral("Only numbers and .")); }, this);
    m_chkEnableUD = named(new QCheckBox(QStringLiteral("Enable U/D ratios"), this), "chkEnableUD");
    m_optFPS = named(new QRadioButton(QStringLiteral("Count files per session"), this), "optFPS");
    m_optBPS = named(new QRadioButton(QStringLiteral("Count bytes per session"), this), "optBPS");
    m_optFAS = named(new QRadioButton(QStringLiteral("Count files all sessions"), this), "optFAS");
    m_optBAS = named(new QRadioButton(QStringLiteral("Count bytes all sessions"), this), "optBAS");
    auto* kinds = new QButtonGroup(this);
    for (QRadioButton* kind : {m_optFPS, m_optBPS, m_optFAS, m_optBAS})
        kinds->addButton(kind);
    m_txtUpload = named(new QLineEdit(this), "txtUpload");
    m_txtDownload = named(new QLineEdit(this), "txtDownload");
    m_txtUDCrd = named(new QLineEdit(this), "txtUDCrd");
    for (QLineEdit* numeric : {m_txtUpload, m_txtDownload, m_txtUDCrd}) {
        m_numericKeys->watch(numeric);
        numeric->setMaximumWidth(110);
    }
    m_label5 = named(new QLabel(QStringLiteral("files"), this), "Label5");
    m_label5->setMinimumWidth(30);
    m_cboChoice = named(new QComboBox(this), "cboChoice");
    m_cboChoice->addItems({QStringLiteral("In Megabytes"), QStringLiteral("In KiloBytes")});
}

void UDRatiosWindow::setupLayout()
{
    auto* kindsFrame = new QGroupBox(QStringLiteral("U/D Ratios"), this);
    auto* kindsLayout = new QGridLayout(kindsFrame);
    kindsLayout->addWidget(m_optFPS, 0, 0);
    kindsLayout->addWidget(m_optBPS, 1, 0);
    kindsLayout->addWidget(m_optFAS, 0, 1);
    kindsLayout->addWidget(m_optBAS, 1, 1);

    auto* ratioFrame = new QGroupBox(QStringLiteral("Ratio"), this);
    auto* ratioLayout = new QGridLayout(ratioFrame);
    ratioLayout->addWidget(new QLabel(QStringLiteral("Uploads"), this), 0, 0);
    ratioLayout->addWidget(new QLabel(QStringLiteral("Downloads"), this), 0, 2);
    ratioLayout->addWidget(m_txtUpload, 1, 0);
    ratioLayout->addWidget(new QLabel(QStringLiteral("/"), this), 1, 1);
    ratioLayout->addWidget(m_txtDownload, 1, 2);
    ratioLayout->setColumnStretch(3, 1);

    auto* creditFrame = new QGroupBox(QStringLiteral("Preset/Current"), this);
    auto* creditLayout = new QHBoxLayout(creditFrame);
    creditLayout->addWidget(new QLabel(QStringLiteral("Credit"), this));
    creditLayout->addWidget(m_txtUDCrd);
    creditLayout->addWidget(m_label5);
    creditLayout->addStretch(1);
    creditLayout->addWidget(m_cboChoice);

    auto* ok = named(new QPushButton(QStringLiteral("OK"), this), "cmdOK");
    auto* cancel = named(new QPushButton(QStringLiteral("Cancel"), this), "cmdCancel");
    auto* help = named(new QPushButton(QStringLiteral("Help"), this), "cmdHelp");
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &UDRatiosWindow::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &UDRatiosWindow::cmdCancel_Click);
    connect(help, &QPushButton::clicked, this, &UDRatiosWindow::cmdHelp_Click);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(help);
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_chkEnableUD);
    layout->addWidget(kindsFrame);
    layout->addWidget(ratioFrame);
    layout->addWidget(creditFrame);
    layout->addLayout(buttons);
    setMinimumWidth(440);
}

void UDRatiosWindow::setupRules()
{
    connect(m_chkEnableUD, &QCheckBox::clicked, this, [this](bool checked) {
        checkEnabled();
        if (checked) {
            m_optBAS->setChecked(true);
            byteKindChosen();
        }
    });
    for (QRadioButton* bytes : {m_optBAS, m_optBPS})
        connect(bytes, &QRadioButton::clicked, this, &UDRatiosWindow::byteKindChosen);
    for (QRadioButton* files : {m_optFAS, m_optFPS})
        connect(files, &QRadioButton::clicked, this, &UDRatiosWindow::fileKindChosen);
    connect(m_cboChoice, &QComboBox::activated, this, &UDRatiosWindow::changeUnits);
}

bool UDRatiosWindow::inKilobytes() const
{
    return m_cboChoice->currentText().trimmed().compare(QLatin1String("in kilobytes"), Qt::CaseInsensitive) == 0;
}

QString UDRatiosWindow::unit() const
{
    return inKilobytes() ? QStringLiteral("Kb") : QStringLiteral("Mb");
}

void UDRatiosWindow::byteKindChosen()
{
    // A file count means nothing as a byte amount.
    if (shows(m_label5, "files"))
        m_txtUDCrd->clear();
    m_label5->setText(unit());
    m_cboChoice->setEnabled(true);
}

void UDRatiosWindow::fileKindChosen()
{
    if (!shows(m_label5, "files"))
        m_txtUDCrd->clear();
    m_label5->setText(QStringLiteral("files"));
    m_cboChoice->setEnabled(false);
}

void UDRatiosWindow::changeUnits()
{
    const double shown = numbers::leading(m_txtUDCrd->text());
    if (inKilobytes()) {
        if (shows(m_label5, "mb"))
            m_txtUDCrd->setText(numbers::show(numbers::roundHalfEven(shown * Kilobyte, 3)));
        m_label5->setText(QStringLiteral("Kb"));
    } else {
        if (shows(m_label5, "kb"))
            m_txtUDCrd->setText(numbers::show(numbers::roundHalfEven(shown / Kilobyte, 3)));
        m_label5->setText(QStringLiteral("Mb"));
    }
}

void UDRatiosWindow::checkEnabled()
{
    const bool enabled = m_chkEnableUD->isChecked();
    for (QWidget* control : std::initializer_list<QWidget*>{m_optFPS, m_optBPS, m_optFAS, m_optBAS, m_txtUpload, m_txtDownload, m_txtUDCrd})
        control->setEnabled(enabled);
}

void UDRatiosWindow::thisFormLoadData()
{
    // The dialog holds an account only once its row has been read.
    const QString name = m_page.currentUser;
    m_loadedUser.clear();
    Session session(m_ctx);
    if (!session.open())
        return;
    Rows row = session.select(QStringLiteral("SELECT ratio_type, ratio_down, ratio_up, ratio_current_credit FROM users WHERE username=")
                              + sqlQuote(name));
    if (!row.isValid() || !row.next())
        return;
    const QString kind = row.text(QStringLiteral("ratio_type"));
    const QString down = row.text(QStringLiteral("ratio_down"));
    const QString up = row.text(QStringLiteral("ratio_up"));
    const QString credit = row.text(QStringLiteral("ratio_current_credit"));
    row = Rows();
    session.close();
    m_loadedUser = name;

    m_txtDownload->setText(down);
    m_txtUpload->setText(up);
    m_txtUDCrd->setText(credit);
    m_label5->setText(QStringLiteral("files"));
    const QString stored = kind.trimmed().toLower();
    const auto inMegabytes = [&] {
        m_txtUDCrd->setText(numbers::show(numbers::roundHalfEven(numbers::leading(credit) / Megabyte, 3)));
        m_label5->setText(QStringLiteral("Mb"));
        m_cboChoice->setCurrentIndex(0);
        m_cboChoice->setEnabled(true);
    };
    if (stored == QLatin1String("filespersession") || stored == QLatin1String("filesoverall")) {
        m_chkEnableUD->setChecked(true);
        (stored == QLatin1String("filespersession") ? m_optFPS : m_optFAS)->setChecked(true);
        m_cboChoice->setEnabled(false);
    } else if (stored == QLatin1String("bytespersession") || stored == QLatin1String("bytesoverall")) {
        m_chkEnableUD->setChecked(true);
        (stored == QLatin1String("bytespersession") ? m_optBPS : m_optBAS)->setChecked(true);
        inMegabytes();
    } else {
        // No ratio, or a kind this dialog does not know: shown as no ratio.
        m_chkEnableUD->setChecked(false);
    }
    checkEnabled();
}

double UDRatiosWindow::creditToStore() const
{
    if (!m_chkEnableUD->isChecked())
        return 0;
    const double shown = numbers::read(m_txtUDCrd->text()).value_or(0);
    if (m_optFPS->isChecked() || m_optFAS->isChecked())
        return shown;
    if (m_optBPS->isChecked() || m_optBAS->isChecked())
        return numbers::roundHalfEven(shown * (inKilobytes() ? Kilobyte : Megabyte), 3);
    return 0;
}

bool UDRatiosWindow::thisFormSaveData()
{
    if (m_loadedUser.isEmpty()) {
        m_ctx.prompter.tell(appinfo::Title, notLoadedText(), prompt::Icon::Exclamation);
        return false;
    }
    QString kind = QStringLiteral("NULL");
    if (m_chkEnableUD->isChecked()) {
        if (m_optFPS->isChecked())
            kind = sqlQuote(QStringLiteral("FilesPerSession"));
        else if (m_optBPS->isChecked())
            kind = sqlQuote(QStringLiteral("BytesPerSession"));
        else if (m_optFAS->isChecked())
            kind = sqlQuote(QStringLiteral("FilesOverall"));
        else if (m_optBAS->isChecked())
            kind = sqlQuote(QStringLiteral("BytesOverall"));
    }
    const double credit = creditToStore();
    Session session(m_ctx);
    if (!session.open())
        return false;
    const auto number = [](const QLineEdit* box) { return sqlNumber(numbers::read(box->text()).value_or(0)); };
    return session.execute(QStringLiteral("update users set ratio_type=") + kind + QStringLiteral(", ratio_down=") + number(m_txtDownload)
                    + QStringLiteral(", ratio_up=") + number(m_txtUpload) + QStringLiteral(", ratio_current_credit=")
                    + sqlNumber(credit) + QStringLiteral(" WHERE username=") + sqlQuote(m_loadedUser));
}

void UDRatiosWindow::cmdOK_Click()
{
    if (m_chkEnableUD->isChecked()) {
        for (const QLineEdit* box : {m_txtUpload, m_txtDownload, m_txtUDCrd}) {
            if (box->text().trimmed().isEmpty()) {
                m_ctx.prompter.tell(appinfo::Title, QStringLiteral("Please make sure all fields are correct."), prompt::Icon::Exclamation);
                return;
            }
        }
    }
    // Numbers go into SQL bare, so only real numbers may pass.
    for (const QLineEdit* box : {m_txtUpload, m_txtDownload, m_txtUDCrd}) {
        if (!box->text().trimmed().isEmpty() && !numbers::read(box->text())) {
            m_ctx.prompter.tell(appinfo::Title, QStringLiteral("\"%1\" is not a number. Please make sure all fields are correct.").arg(box->text()),
                                prompt::Icon::Exclamation);
            return;
        }
    }
    // ...and each must fit its column: the ratio sides are whole numbers, the credit any finite number.
    const std::pair<const QLineEdit*, const char*> sides[] = {{m_txtUpload, "Uploads"}, {m_txtDownload, "Downloads"}};
    for (const auto& [box, field] : sides) {
        if (!numbers::fitsInteger(numbers::read(box->text()).value_or(0))) {
            m_ctx.prompter.tell(appinfo::Title,
                                QStringLiteral("The %1 field must hold a whole number no larger than 2147483647.").arg(QLatin1String(field)),
                                prompt::Icon::Exclamation);
            return;
        }
    }
    if (!numbers::fitsFloat(creditToStore())) {
        m_ctx.prompter.tell(appinfo::Title, QStringLiteral("The Credit field holds a number larger than the database can hold."),
                            prompt::Icon::Exclamation);
        return;
    }
    // A failed save keeps the dialog open with what was typed.
    if (thisFormSaveData())
        hide();
}

void UDRatiosWindow::cmdCancel_Click()
{
    hide();
}

void UDRatiosWindow::reject()
{
    cmdCancel_Click();
}

void UDRatiosWindow::cmdHelp_Click()
{
    help::openManual(m_ctx);
}
