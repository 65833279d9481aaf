#include "MainView.h"

#include "images/banner.xpm"
#include "images/window_icon.xpm"

#include <QBoxLayout>
#include <QEvent>
#include <QFont>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>
#include <QSize>
#include <QSizePolicy>
#include <QSpacerItem>
#include <QVariant>

namespace {

// Values start as blanks rather than empty so the rows keep their height before the daemons report.
QLabel* newValueLabel(int blanks, QWidget* parent, const char* name)
{
    auto* label = new QLabel(QString(blanks, QLatin1Char(' ')), parent);
    label->setObjectName(QLatin1String(name));
    return label;
}

QLabel* newCaptionLabel(QWidget* parent, const char* name)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    return label;
}

// Group boxes lay out their rows from 1; the empty stretching rows around them keep the pairs
// vertically centred when the column makes a box taller than it needs.
QGridLayout* newGroupGrid(QGroupBox* box, int lastRow)
{
    auto* grid = new QGridLayout(box);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 2);
    grid->setRowStretch(0, 1);
    grid->setRowStretch(lastRow + 1, 1);
    return grid;
}

} // namespace

MainView::MainView(QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags)
{
    _image = QPixmap(banner_xpm);
    _icon = QPixmap(window_icon_xpm);
    setWindowIcon(_icon);

    auto* windowLayout = new QVBoxLayout(this);
    auto* titleRow = new QHBoxLayout;
    auto* contentRow = new QHBoxLayout;
    auto* buttonRow = new QHBoxLayout;
    windowLayout->addLayout(titleRow, 0);
    windowLayout->addLayout(contentRow, 0);
    windowLayout->addLayout(buttonRow, 0);

    titleRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Fixed, QSizePolicy::Fixed));
    _titleLabel = new QLabel(this);
    _titleLabel->setObjectName(QStringLiteral("titleLabel"));
    // Lets a style sheet single out the title without knowing the widget tree.
    _titleLabel->setProperty("uiTitle", true);
    QFont titleFont = _titleLabel->font();
    titleFont.setPointSize(22);
    titleFont.setWeight(QFont::Bold);
    _titleLabel->setFont(titleFont);
    titleRow->addWidget(_titleLabel, 0);
    titleRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    contentRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    auto* imageColumn = new QVBoxLayout;
    imageColumn->addItem(new QSpacerItem(0, 8, QSizePolicy::Minimum, QSizePolicy::MinimumExpanding));
    _imageLabel = new QLabel(this);
    _imageLabel->setObjectName(QStringLiteral("imageLabel"));
    _imageLabel->setProperty("uiImage", true);
    _imageLabel->setFrameShape(QFrame::StyledPanel);
    _imageLabel->setFrameShadow(QFrame::Sunken);
    _imageLabel->setPixmap(_image);
    _imageLabel->setScaledContents(false);
    imageColumn->addWidget(_imageLabel, 0);
    contentRow->addLayout(imageColumn);

    contentRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    auto* infoColumn = new QVBoxLayout;

    _versionsBox = new QGroupBox(this);
    _versionsBox->setObjectName(QStringLiteral("versionsBox"));
    QGridLayout* versionsGrid = newGroupGrid(_versionsBox, 2);
    _ver1 = newCaptionLabel(_versionsBox, "ver1");
    _programVer = newValueLabel(10, _versionsBox, "programVer");
    _ver2 = newCaptionLabel(_versionsBox, "ver2");
    _engineVer = newValueLabel(10, _versionsBox, "engineVer");
    versionsGrid->addWidget(_ver1, 1, 0);
    versionsGrid->addWidget(_programVer, 1, 1);
    versionsGrid->addWidget(_ver2, 2, 0);
    versionsGrid->addWidget(_engineVer, 2, 1);
    infoColumn->addWidget(_versionsBox, 0);

    _defsBox = new QGroupBox(this);
    _defsBox->setObjectName(QStringLiteral("defsBox"));
    QGridLayout* defsGrid = newGroupGrid(_defsBox, 1);
    defsGrid->setColumnStretch(2, 0);
    defsGrid->setColumnStretch(3, 0);
    defsGrid->setColumnStretch(4, 0);
    _defsLabel = newCaptionLabel(_defsBox, "defsLabel");
    _defsValue = newValueLabel(16, _defsBox, "defsValue");
    _updateButton = new QPushButton(_defsBox);
    _updateButton->setObjectName(QStringLiteral("updateButton"));
    connect(_updateButton, &QPushButton::clicked, this, &MainView::NRRequested);
    defsGrid->addWidget(_defsLabel, 1, 0);
    defsGrid->addWidget(_defsValue, 1, 1);
    defsGrid->addWidget(_updateButton, 1, 3);
    defsGrid->addItem(new QSpacerItem(8, 0, QSizePolicy::Fixed, QSizePolicy::Fixed), 1, 4);
    infoColumn->addWidget(_defsBox, 0);

    _statusBox = new QGroupBox(this);
    _statusBox->setObjectName(QStringLiteral("statusBox"));
    QGridLayout* statusGrid = newGroupGrid(_statusBox, 2);
    _VGLabel = newCaptionLabel(_statusBox, "VGLabel");
    _VGStatus = newValueLabel(10, _statusBox, "VGStatus");
    _ScanLabel = newCaptionLabel(_statusBox, "ScanLabel");
    _ScanStatus = newValueLabel(10, _statusBox, "ScanStatus");
    statusGrid->addWidget(_VGLabel, 1, 0);
    statusGrid->addWidget(_VGStatus, 1, 1);
    statusGrid->addWidget(_ScanLabel, 2, 0);
    statusGrid->addWidget(_ScanStatus, 2, 1);
    infoColumn->addWidget(_statusBox, 0);

    _manageBox = new QGroupBox(this);
    _manageBox->setObjectName(QStringLiteral("manageBox"));
    QGridLayout* manageGrid = newGroupGrid(_manageBox, 5);
    _ServerLabel = newCaptionLabel(_manageBox, "ServerLabel");
    _ServerStatus = newValueLabel(10, _manageBox, "ServerStatus");
    _GroupLabel = newCaptionLabel(_manageBox, "GroupLabel");
    _GroupStatus = newValueLabel(10, _manageBox, "GroupStatus");
    _ConnectLabel = newCaptionLabel(_manageBox, "ConnectLabel");
    _ConnectStatus = newValueLabel(10, _manageBox, "ConnectStatus");
    _LocationLabel = newCaptionLabel(_manageBox, "LocationLabel");
    _LocationStatus = newValueLabel(10, _manageBox, "LocationStatus");
    _PolicyNumLabel = newCaptionLabel(_manageBox, "PolicyNumLabel");
    _PolicyNumStatus = newValueLabel(10, _manageBox, "PolicyNumStatus");
    manageGrid->addWidget(_ServerLabel, 1, 0);
    manageGrid->addWidget(_ServerStatus, 1, 1);
    manageGrid->addWidget(_GroupLabel, 2, 0);
    manageGrid->addWidget(_GroupStatus, 2, 1);
    manageGrid->addWidget(_ConnectLabel, 3, 0);
    manageGrid->addWidget(_ConnectStatus, 3, 1);
    manageGrid->addWidget(_LocationLabel, 4, 0);
    manageGrid->addWidget(_LocationStatus, 4, 1);
    manageGrid->addWidget(_PolicyNumLabel, 5, 0);
    manageGrid->addWidget(_PolicyNumStatus, 5, 1);
    infoColumn->addWidget(_manageBox, 0);

    contentRow->addLayout(infoColumn);
    contentRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    buttonRow->addItem(new QSpacerItem(0, 0, QSizePolicy::MinimumExpanding, QSizePolicy::Minimum));
    _closeButton = new QPushButton(this);
    _closeButton->setObjectName(QStringLiteral("closeButton"));
    // The application keeps running without windows, so closing only hides the window.
    connect(_closeButton, &QPushButton::clicked, this, &QWidget::close);
    buttonRow->addWidget(_closeButton, 0);
    buttonRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    languageChange();

    // Size for the longest definitions text the daemon sends, so the window does not grow
    // the first time it arrives.
    _defsValue->setText(QStringLiteral("00/00/0000 rev. 00"));
    const QSize hint = minimumSizeHint();
    resize(hint.expandedTo(QSize(100, 100)));
    move(0, 0);
    _defsValue->setText(QString(16, QLatin1Char(' ')));
}

void MainView::setNRRunning(bool running)
{
    _nrRunning = running;
    if (_updateButton)
        _updateButton->setText(running ? tr("&Novarel is running") : tr("&Novarel"));
}

void MainView::setProgramVersion(const QString& value)
{
    _programVer->setText(value);
}

void MainView::setEngineVersion(const QString& value)
{
    _engineVer->setText(value);
}

void MainView::setDefsVersion(const QString& value)
{
    _defsValue->setText(value);
}

void MainView::setVGStatus(const QString& value)
{
    _VGStatus->setText(value);
}

void MainView::setScanStatus(const QString& value)
{
    _ScanStatus->setText(value);
}

void MainView::setServerStatus(const QString& value)
{
    _ServerStatus->setText(value);
}

void MainView::setGroupStatus(const QString& value)
{
    _GroupStatus->setText(value);
}

void MainView::setConnectStatus(const QString& value)
{
    _ConnectStatus->setText(value);
}

void MainView::setLocationStatus(const QString& value)
{
    _LocationStatus->setText(value);
}

void MainView::setPolicyNumStatus(const QString& value)
{
    _PolicyNumStatus->setText(value);
}

void MainView::setNRAllowed(bool allowed)
{
    _updateButton->setEnabled(allowed);
}

void MainView::languageChange()
{
    setWindowTitle(tr("Trevanta", "title"));
    if (_titleLabel)
        _titleLabel->setText(tr("Trevanta"));
    if (_versionsBox)
        _versionsBox->setTitle(tr("Program Version"));
    if (_ver1)
        _ver1->setText(tr("Program:"));
    if (_ver2)
        _ver2->setText(tr("Scan Engine:"));
    if (_defsBox)
        _defsBox->setTitle(tr("Definitions"));
    if (_defsLabel)
        _defsLabel->setText(tr("Version:"));
    if (_updateButton) {
        // Keeps the running caption when the language changes mid-update.
        setNRRunning(_nrRunning);
        _updateButton->setShortcut(QKeySequence(tr("Alt+N")));
    }
    if (_statusBox)
        _statusBox->setTitle(tr("Status"));
    if (_VGLabel)
        _VGLabel->setText(tr("Vigilon:"));
    if (_ScanLabel)
        _ScanLabel->setText(tr("Scan:"));
    if (_manageBox)
        _manageBox->setTitle(tr("Management"));
    if (_ServerLabel)
        _ServerLabel->setText(tr("Server:"));
    if (_GroupLabel)
        _GroupLabel->setText(tr("Group:"));
    if (_ConnectLabel)
        _ConnectLabel->setText(tr("Last Connected:"));
    if (_LocationLabel)
        _LocationLabel->setText(tr("Location:"));
    if (_PolicyNumLabel)
        _PolicyNumLabel->setText(tr("Policy Serial Number:"));
    if (_closeButton) {
        _closeButton->setText(tr("&Close"));
        _closeButton->setShortcut(QKeySequence(tr("Alt+C")));
    }
}

void MainView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange)
        languageChange();
    QWidget::changeEvent(event);
}
