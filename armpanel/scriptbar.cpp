// See scriptbar.h.
#include "scriptbar.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPushButton>

#include "readouts.h"
#include "scriptfile.h"
#include "shown.h"

namespace {

QString fileFilter() { return ScriptBar::tr("Scripts of the hand (*.jsonl);;All files (*)"); }

QString nameOf(const QString& path) { return shown(QFileInfo(path).fileName()); }

}  // namespace

ScriptBar::ScriptBar(ArmLink& link, HandWishes& hand, QWidget* parent) : QWidget(parent), hand_(hand), recorder_(link) {
    row_ = new QBoxLayout(QBoxLayout::LeftToRight, this);
    row_->setContentsMargins(0, 0, 0, 0);
    row_->setSpacing(6);
    buttons_ = new QHBoxLayout;
    buttons_->setSpacing(4);
    row_->addLayout(buttons_);
    record_ =
        add(tr("Record"), "Ctrl+R", tr("Keep what the hand does from now on; again, to end it"), [this] { record(); });
    record_->setCheckable(true);
    play_ = add(tr("Play"), "Ctrl+P", tr("Do again what was recorded or opened"), [this] { play(); });
    stop_ = add(tr("Stop"), "Ctrl+T",
                tr("End what plays, pushes or sweeps, and hold the stylus where it is; or end the recording"),
                [this] { stop(); });
    open_ = add(tr("Open..."), "Ctrl+O", tr("Open a script from a file"), [this] { open(); });
    save_ = add(tr("Save..."), "Ctrl+S", tr("Save the script to a file"), [this] { askAndSave(); });
    text_ = new LineLabel(this);
    text_->setObjectName("script");
    row_->addWidget(text_, 1);

    connect(&recorder_, &HandRecorder::changed, this, &ScriptBar::takeRecording);
    connect(&hand_, &HandWishes::scriptAt, this, [this](const QString& label) {
        if (!label.isEmpty())
            stepLabel_ = label;
        showAll();
    });
    connect(&hand_, &HandWishes::scriptEnded, this, [this](bool complete) {
        if (playing_)
            note_ = complete ? tr("Played %1 to its end").arg(name_) : tr("Ended %1 at %2").arg(name_, stepLabel_);
        else
            note_ = complete ? tr("Done: %1").arg(hand_.aim()) : tr("Ended at: %1").arg(stepLabel_);
        playing_ = false;
        showAll();
    });
    showAll();
}

QPushButton* ScriptBar::add(const QString& text, const char* key, const QString& tip,
                            const std::function<void()>& act) {
    auto* button = new QPushButton(text, this);
    button->setShortcut(QKeySequence(key));
    button->setToolTip(tr("%1 (%2)").arg(tip, QKeySequence(key).toString(QKeySequence::NativeText)));
    button->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(button, &QPushButton::clicked, this, act);
    buttons_->addWidget(button);
    return button;
}

void ScriptBar::setNarrow(bool narrow) {
    row_->setDirection(narrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
}

void ScriptBar::setCondition(ArmLink::Condition condition) {
    connected_ = condition == ArmLink::Condition::Connected;
    if (!connected_ && condition != ArmLink::Condition::Silent)
        recorder_.stop();
    showAll();
}

void ScriptBar::record() {
    note_.clear();
    if (recorder_.isRunning())
        recorder_.stop();
    else if (mayDrop())
        recorder_.start();
    showAll();
}

void ScriptBar::play() {
    note_.clear();
    playing_ = true;
    hand_.play(script_);
    showAll();
}

void ScriptBar::stop() {
    if (hand_.isPlaying() || !recorder_.isRunning())
        hand_.halt();
    else
        recorder_.stop();
}

void ScriptBar::takeRecording() {
    if (!recorder_.isRunning()) {
        script_ = recorder_.script();
        labelSteps(script_);
        name_ = tr("Recording");
        unsaved_ = !script_.isEmpty();
        note_.clear();
    }
    showAll();
}

QString ScriptBar::line() const {
    if (recorder_.isRunning()) {
        const QString steps = tr("Recording, %1 steps").arg(recorder_.script().size());
        return hand_.isPlaying() ? tr("%1: %2").arg(steps, stepLabel_) : steps;
    }
    if (hand_.isPlaying())
        return playing_ ? tr("Playing %1: %2").arg(name_, stepLabel_) : stepLabel_;
    if (!note_.isEmpty())
        return note_;
    if (script_.isEmpty())
        return tr("No script: record or open one.");
    return tr("%1%2: %3 steps, %4 s")
        .arg(name_, unsaved_ ? tr(", not saved") : QString())
        .arg(script_.size())
        .arg(static_cast<double>(lengthOf(script_)) / 1000.0, 0, 'f', 1);
}

void ScriptBar::showAll() {
    text_->showLine(line());
    const bool recording = recorder_.isRunning();
    record_->setEnabled(recording || (connected_ && !playing_));
    record_->setChecked(recording);
    play_->setEnabled(connected_ && !recording && !hand_.isPlaying() && !script_.isEmpty());
    stop_->setEnabled(connected_ || recording);
    open_->setEnabled(!recording && !playing_);
    save_->setEnabled(!recording && !script_.isEmpty());
}

void ScriptBar::fail(const QString& path, const QString& why) {
    note_ = tr("%1: %2").arg(nameOf(path), why);
    emit failed(note_);
}

bool ScriptBar::load(const QString& path) {
    const ReadScript read = readScriptFile(path);
    script_ = read.script;
    path_ = path;
    name_ = nameOf(path);
    unsaved_ = false;
    note_.clear();
    if (!read.error.isEmpty())
        fail(path, read.error);
    showAll();
    return read.error.isEmpty();
}

bool ScriptBar::save(const QString& path) {
    const QString why = writeScriptFile(path, script_);
    if (why.isEmpty()) {
        path_ = path;
        name_ = nameOf(path);
        unsaved_ = false;
        note_ = tr("Saved as %1").arg(name_);
    } else {
        fail(path, why);
    }
    showAll();
    return why.isEmpty();
}

void ScriptBar::open() {
    if (!mayDrop())
        return;
    const QString path = QFileDialog::getOpenFileName(this, tr("Open a script"),
                                                      path_.isEmpty() ? QDir::homePath() : path_, fileFilter());
    if (!path.isEmpty())
        load(path);
}

bool ScriptBar::askAndSave() {
    QFileDialog dialog(this, tr("Save the script"), QDir::homePath(), fileFilter());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix("jsonl");
    dialog.selectFile(path_.isEmpty() ? tr("hand.jsonl") : path_);
    return dialog.exec() == QDialog::Accepted && save(dialog.selectedFiles().value(0));
}

bool ScriptBar::mayDrop() {
    recorder_.stop();
    if (!unsaved_)
        return true;
    const auto answer =
        QMessageBox::question(this, tr("The recording"), tr("The recording is in no file yet."),
                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Save)
        return askAndSave();
    return answer == QMessageBox::Discard;
}
