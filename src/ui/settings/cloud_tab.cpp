#include "ui/settings/cloud_tab.h"

#include "ui/settings/late_calls.h"
#include "ui/settings/look.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <chrono>

namespace quillo {

namespace {

constexpr std::chrono::milliseconds resultShown{2'000};

struct Service {
    const char* id; ///< as the test knows it
    const char* name; ///< as the user knows it
    const char* title; ///< of its group
    const char* keyHint;
};

constexpr Service openaiService{"openai", "OpenAI", "OpenAI Whisper API", "sk-..."};
constexpr Service mistralService{"mistral", "Mistral", "Mistral API", "API key..."};

} // namespace

/// One cloud service: whether it is used, its key, and a test of the key. User-interface thread.
class CloudServiceBox final : public QGroupBox {
public:
    CloudServiceBox(const Service& service, const CloudTestCallback& onTest);

    bool isServiceEnabled() const { return enableBox_->isChecked(); }
    void setServiceEnabled(bool enabled) { enableBox_->setChecked(enabled); }

    /// Exactly as typed.
    std::string key() const { return keyEdit_->text().toStdString(); }
    void setKey(const std::string& key) { keyEdit_->setText(QString::fromStdString(key)); }

protected:
    void hideEvent(QHideEvent* event) override;

private:
    void nameWidgets(const Service& service);
    void setText(QPushButton* button, const QString& text);
    void setKeyEnabled(bool enabled);
    void reveal(bool shown);
    void startTest();
    void showResult(bool accepted);
    void showIdle();

    const std::string id_;
    const QString name_;
    QCheckBox* enableBox_; // the widgets belong to their parents
    QLineEdit* keyEdit_;
    QPushButton* showButton_;
    QPushButton* testButton_;
    const CloudTestCallback onTest_;
    bool testing_ = false;
    const LateCalls lateCalls_; ///< for the results, which come on other threads and at any time
};

CloudServiceBox::CloudServiceBox(const Service& service, const CloudTestCallback& onTest)
    : QGroupBox(service.title)
    , id_(service.id)
    , name_(service.name)
    , enableBox_(new QCheckBox(QString("Enable %1 cloud transcription").arg(service.name)))
    , keyEdit_(new QLineEdit)
    , showButton_(new QPushButton)
    , testButton_(new QPushButton)
    , onTest_(onTest)
{
    nameWidgets(service);
    keyEdit_->setPlaceholderText(service.keyHint);
    keyEdit_->setEchoMode(QLineEdit::Password);
    showButton_->setCheckable(true);
    setKeyEnabled(false);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(enableBox_);
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    row->addWidget(keyEdit_, 1);
    for (QPushButton* button : {showButton_, testButton_}) {
        button->setMinimumWidth(64);
        fixHeight(button, 30);
        row->addWidget(button);
    }
    layout->addLayout(row);

    connect(enableBox_, &QCheckBox::toggled, this, &CloudServiceBox::setKeyEnabled);
    connect(showButton_, &QPushButton::toggled, this, &CloudServiceBox::reveal);
    connect(testButton_, &QPushButton::clicked, this, &CloudServiceBox::startTest);
}

void CloudServiceBox::nameWidgets(const Service& service)
{
    const QString id = service.id;
    enableBox_->setObjectName(id + "EnableBox");
    keyEdit_->setObjectName(id + "KeyEdit");
    showButton_->setObjectName(id + "ShowButton");
    testButton_->setObjectName(id + "TestButton");
    keyEdit_->setAccessibleName(QString("%1 API key").arg(service.name));
    setText(showButton_, "Show");
    setText(testButton_, "Test");
}

// What a button says, and of what service, is also what a screen reader says.
void CloudServiceBox::setText(QPushButton* button, const QString& text)
{
    button->setText(text);
    button->setAccessibleName(QString("%1 %2 key").arg(text, name_));
}

void CloudServiceBox::setKeyEnabled(bool enabled)
{
    keyEdit_->setEnabled(enabled);
    testButton_->setEnabled(enabled && !testing_);
}

void CloudServiceBox::reveal(bool shown)
{
    keyEdit_->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password);
    setText(showButton_, shown ? "Hide" : "Show");
}

// A key that was revealed must not be seen by whoever opens the window next.
void CloudServiceBox::hideEvent(QHideEvent* event)
{
    showButton_->setChecked(false);
    QGroupBox::hideEvent(event);
}

void CloudServiceBox::startTest()
{
    const std::string key = keyEdit_->text().trimmed().toStdString();
    if (key.empty() || !onTest_)
        return;
    testing_ = true;
    testButton_->setEnabled(false);
    setText(testButton_, "...");
    onTest_(id_, key, lateCalls_.to([this](bool accepted) { showResult(accepted); }));
}

void CloudServiceBox::showResult(bool accepted)
{
    testing_ = false;
    setText(testButton_, accepted ? "OK!" : "Fail");
    testButton_->setStyleSheet(QString("color: %1; font-weight: bold;").arg(accepted ? color::success : color::error));
    testButton_->setEnabled(true);
    QTimer::singleShot(resultShown, this, &CloudServiceBox::showIdle);
}

void CloudServiceBox::showIdle()
{
    setText(testButton_, "Test");
    testButton_->setStyleSheet({});
    if (!enableBox_->isChecked()) // the service was switched off while its key was tested
        testButton_->setEnabled(false);
}

CloudTab::CloudTab(const CloudTestCallback& onCloudTest)
    : SettingsPage("cloudTab", "Cloud")
    , sourceCombo_(new QComboBox)
    , openai_(new CloudServiceBox(openaiService, onCloudTest))
    , mistral_(new CloudServiceBox(mistralService, onCloudTest))
{
    sourceCombo_->setObjectName("sourceCombo");
    sourceCombo_->addItem("Local (Whisper) — cloud as fallback", "local");
    sourceCombo_->addItem("OpenAI Whisper API — local as fallback", "openai");
    sourceCombo_->addItem("Mistral API — local as fallback", "mistral");
    auto* source = new QGroupBox("Transcription Source");
    auto* form = new QFormLayout(source);
    form->addRow("Primary:", sourceCombo_); // makes the label its buddy

    auto* layout = makeColumn("Cloud APIs", 14);
    layout->addWidget(source);
    layout->addWidget(openai_);
    layout->addWidget(mistral_);
    layout->addStretch(1);
}

void CloudTab::setSettings(const SettingsData& settings)
{
    selectData(*sourceCombo_, settings.transcriptionSource);
    openai_->setServiceEnabled(settings.openaiEnabled);
    openai_->setKey(settings.openaiKey);
    mistral_->setServiceEnabled(settings.mistralEnabled);
    mistral_->setKey(settings.mistralKey);
}

void CloudTab::collectSettings(SettingsData& settings) const
{
    settings.openaiKey = openai_->key();
    settings.mistralKey = mistral_->key();
    settings.openaiEnabled = openai_->isServiceEnabled();
    settings.mistralEnabled = mistral_->isServiceEnabled();
    settings.transcriptionSource = selectedData(*sourceCombo_);
}

} // namespace quillo
