#include "export_dialog.h"

#include "value_slider.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace zel::viewer {
namespace {

using FileType = ZelImageHelper::FileType;

struct Format {
    const char* name;
    const char* extension;
    FileType type;
};
constexpr Format formats[] = {{"JPEG", "jpg", FileType::jpeg},
                              {"PNG", "png", FileType::png},
                              {"TIFF", "tif", FileType::tif},
                              {"HEIF", "heic", FileType::heif}};

QString withExtension(const QString& path, const char* extension)
{
    const QFileInfo file(path);
    return file.dir().filePath(file.completeBaseName() + '.' + extension);
}

/// Beside the source, under a name that is free.
QString suggestion(const QString& source)
{
    const QFileInfo file(source);
    const QDir folder = file.dir().exists() ? file.dir() : QDir::home();
    const QString stem = file.completeBaseName().isEmpty() ? QString("picture") : file.completeBaseName();
    QString path = folder.absoluteFilePath(stem + "-edited.jpg");
    for (int number = 2; QFileInfo::exists(path); ++number)
        path = folder.absoluteFilePath(QString("%1-edited-%2.jpg").arg(stem).arg(number));
    return path;
}

QString sentenceFor(const QString& path, const ExportResult& result)
{
    return QString("%1: %2 × %3, %4")
        .arg(QFileInfo(path).fileName())
        .arg(result.size.width, 0, 'f', 0)
        .arg(result.size.height, 0, 'f', 0)
        .arg(QLocale::c().formattedDataSize(result.bytes, 1, QLocale::DataSizeSIFormat));
}

} // namespace

ExportDialog::ExportDialog(Ref<ZelImage> picture, EditChain edits, const QString& source, QWidget* parent)
    : QDialog(parent),
      picture_(std::move(picture)),
      edits_(edits),
      format_(new QComboBox),
      file_(new QLineEdit(suggestion(source))),
      isLimited_(new QCheckBox("At most")),
      limit_(new QSpinBox),
      quality_(new ValueSlider("Quality", {0, 100, 1, "", false})),
      progress_(new QProgressBar),
      note_(new QLabel),
      export_(new QPushButton),
      cancel_(new QPushButton("Cancel"))
{
    setWindowTitle("Export");
    setMinimumWidth(460);
    for (const Format& one : formats)
        format_->addItem(one.name);
    limit_->setRange(1, 1'000'000);
    limit_->setValue(500);
    limit_->setSuffix(" kB");
    quality_->setValue(85);
    progress_->setTextVisible(false);
    note_->setObjectName("quiet");
    note_->setWordWrap(true);
    note_->setTextFormat(Qt::PlainText);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(14);
    layout->addLayout(makeFileRow());
    layout->addLayout(makeLimitRow());
    layout->addWidget(quality_);
    layout->addWidget(progress_);
    layout->addWidget(note_);
    layout->addLayout(makeButtons());

    connect(format_, &QComboBox::currentIndexChanged, this, &ExportDialog::formatChosen);
    connect(file_, &QLineEdit::textChanged, this, &ExportDialog::showState);
    connect(isLimited_, &QCheckBox::toggled, this, &ExportDialog::showState);
    connect(&job_, &ExportJob::progressed, progress_, &QProgressBar::setValue);
    connect(&job_, &ExportJob::ended, this, &ExportDialog::end);
    showState();
}

QLayout* ExportDialog::makeFileRow()
{
    auto* browseButton = new QPushButton("Choose …");
    browseButton->setAutoDefault(false);
    connect(browseButton, &QPushButton::clicked, this, &ExportDialog::browse);
    auto* row = new QHBoxLayout;
    row->addWidget(format_);
    row->addWidget(file_, 1);
    row->addWidget(browseButton);
    return row;
}

QLayout* ExportDialog::makeLimitRow()
{
    auto* row = new QHBoxLayout;
    row->addWidget(isLimited_);
    row->addWidget(limit_);
    row->addStretch();
    return row;
}

QLayout* ExportDialog::makeButtons()
{
    export_->setDefault(true);
    cancel_->setAutoDefault(false);
    connect(export_, &QPushButton::clicked, this, &ExportDialog::start);
    connect(cancel_, &QPushButton::clicked, this, &ExportDialog::reject);
    auto* row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(cancel_);
    row->addWidget(export_);
    return row;
}

FileType ExportDialog::format() const
{
    return formats[format_->currentIndex()].type;
}

ExportOrder ExportDialog::order() const
{
    ExportOrder order;
    order.edits = edits_;
    order.file = URL::file(QFile::encodeName(file_->text()).toStdString());
    order.format = format();
    order.quality = quality_->value() / 100;
    if (isLimited_->isChecked() && canBeLimited(order.format))
        order.mostBytes = std::int64_t{limit_->value()} * 1000;
    return order;
}

void ExportDialog::formatChosen()
{
    file_->setText(withExtension(file_->text(), formats[format_->currentIndex()].extension));
    showState();
}

void ExportDialog::browse()
{
    // Whether it may be replaced is said by the button, in one place.
    const QString path =
        QFileDialog::getSaveFileName(this, "Export as", file_->text(), {}, nullptr, QFileDialog::DontConfirmOverwrite);
    if (!path.isEmpty())
        file_->setText(path);
}

void ExportDialog::showState()
{
    const bool runs = job_.isRunning();
    const bool hasQuality = canBeLimited(format());
    const bool replaces = QFileInfo::exists(file_->text());
    for (QWidget* choice : std::initializer_list<QWidget*>{format_, file_})
        choice->setDisabled(runs);
    isLimited_->setEnabled(hasQuality && !runs);
    limit_->setEnabled(hasQuality && isLimited_->isChecked() && !runs);
    quality_->setEnabled(hasQuality && !isLimited_->isChecked() && !runs);
    progress_->setVisible(runs);
    export_->setText(replaces ? "Replace" : "Export");
    export_->setDisabled(runs || file_->text().isEmpty());
    if (!runs)
        note_->setText(replaces ? "A file of this name is there already." : "");
}

void ExportDialog::start()
{
    progress_->setValue(0);
    job_.start(picture_, order());
    showState();
    note_->setText("Edits are computed on the full picture.");
}

void ExportDialog::end(const ExportResult& result)
{
    showState();
    if (result.isWritten) {
        emit written(sentenceFor(file_->text(), result));
        accept();
    } else {
        note_->setText(result.isCancelled ? QString("Stopped. Nothing was written.")
                                          : "Not written: " + QString::fromStdString(result.message));
    }
}

void ExportDialog::reject()
{
    if (job_.isRunning())
        job_.cancel(); // the first time stops the work, the next time closes
    else
        QDialog::reject();
}

} // namespace zel::viewer
