// The list shows what the arm says; a click is a wish, and the next list tells whether it was granted.
#include "faultlist.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSpinBox>
#include <QTreeWidget>
#include <algorithm>
#include <cmath>

#include "controls.h"
#include "shown.h"

namespace {

enum Column { Name, Axis, Amount, Columns };
constexpr int kMostAxes = armwords::kFleetSize;  // the axis of some faults is a place in the fleet
using armwords::kMost;

/// A unit that is a choice of figures, as "0 or 1", is no unit to read after one.
QString afterAmount(const QString& unit) { return unit.contains(" or ") ? " (" + unit + ")" : " " + unit; }

}  // namespace

FaultList::FaultList(ArmLink& link, QWidget* parent) : QWidget(parent), link_(link) {
    list_ = new QTreeWidget(this);
    list_->setHeaderLabels({tr("Fault"), tr("Axis"), tr("Amount")});
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setMinimumHeight(80);
    list_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);
    list_->setAllColumnsShowFocus(true);
    list_->setAlternatingRowColors(true);
    list_->setAccessibleName(tr("Faults; the space key switches the selected one"));
    list_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    list_->header()->setStretchLastSection(true);
    connect(list_, &QTreeWidget::itemChanged, this, &FaultList::changed);
    connect(list_, &QTreeWidget::currentItemChanged, this, &FaultList::showSelected);

    text_ = new QLabel(this);
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    text_->setMinimumHeight(2 * fontMetrics().lineSpacing());
    text_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    axis_ = new QSpinBox(this);
    axis_->setRange(0, kMostAxes);
    axis_->setSpecialValueText(tr("all"));
    amount_ = new QDoubleSpinBox(this);
    amount_->setRange(-kMost, kMost);
    amount_->setDecimals(2);
    amount_->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    // A value is sent when it stands, not with each digit.
    axis_->setKeyboardTracking(false);
    amount_->setKeyboardTracking(false);
    connect(axis_, QOverload<int>::of(&QSpinBox::valueChanged), this, &FaultList::choose);
    connect(amount_, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, &FaultList::choose);
    const QString clearText = tr("&Clear all");
    auto* clear = new QPushButton(clearText, this);
    setTip(clear, clearText, tr("Switch every fault off"));
    connect(clear, &QPushButton::clicked, this, &FaultList::clearAll);

    auto* selected = new QHBoxLayout;
    selected->setSpacing(6);
    selected->addWidget(labelOf(axis_, tr("A&xis"),
                                tr("Axis, 1 to 3 base, 4 to 6 gimbal; or the button, or the device's place in the "
                                   "fleet, counted from 1")));
    selected->addWidget(axis_);
    selected->addSpacing(6);
    selected->addWidget(labelOf(amount_, tr("A&mount"), tr("How much of it, in the unit of the fault")));
    selected->addWidget(amount_, 1);
    selected->addSpacing(6);
    selected->addWidget(clear);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->setSpacing(6);
    layout->addWidget(list_, 1);
    layout->addWidget(text_);
    layout->addLayout(selected);
    showSelected();
}

void FaultList::refresh() {
    faults_.clear();
    list_->clear();
    asked_ = listed_ = false;
    known_.clear();
    showSelected();
    showState({});
}

void FaultList::showState(const ArmState& state) {
    QStringList on = faultsOf(state);
    on.sort();
    if (asked_ || (on == known_ && listed_))
        return;
    asked_ = true;
    link_.send("fault.list", {}, [this, on](const QJsonObject& answer) {
        asked_ = false;
        // Kept even where the arm has no list, so that it is not asked again with each state.
        known_ = on;
        listed_ = true;
        if (answer["ok"].toBool())
            takeList(answer["faults"].toArray());
    });
}

/// An empty object stands ahead of what the list ends with: not what is wrong with the arm, but what a library may do.
QVector<QJsonObject> FaultList::withHeading(const QJsonArray& faults) {
    QVector<QJsonObject> rows;
    bool headed = false;
    for (const QJsonValue& value : faults) {
        if (value["manner"].toBool() && !headed)
            rows << QJsonObject();
        headed = headed || value["manner"].toBool();
        rows << value.toObject();
    }
    return rows;
}

void FaultList::takeRow(const QJsonObject& json, Fault& fault) const {
    fault.heading = json.isEmpty();
    fault.name = shown(json["name"].toString());
    fault.unit = shown(json["unit"].toString());
    fault.text = shown(json["text"].toString());
    fault.on = json["on"].toBool();
    if (fault.chosen && !fault.on)
        return;
    const int axis = json["axis"].toInt(-1);
    const double amount = json["amount"].toDouble();
    fault.axis = axis >= 0 && axis < kMostAxes ? axis : -1;
    fault.amount = std::abs(amount) <= kMost ? amount : 0.0;
}

void FaultList::takeList(const QJsonArray& faults) {
    const QScopedValueRollback<bool> filling(filling_, true);
    known_.clear();
    const QVector<QJsonObject> rows = withHeading(faults);
    if (rows.size() != faults_.size()) {
        list_->clear();
        faults_ = QVector<Fault>(rows.size());
        for (int row = 0; row < faults_.size(); ++row)
            list_->addTopLevelItem(new QTreeWidgetItem);
    }
    for (int row = 0; row < faults_.size(); ++row) {
        takeRow(rows[row], faults_[row]);
        if (faults_[row].on)
            known_ << faults_[row].name;
        showRow(row);
    }
    known_.sort();
    if (list_->currentItem() == nullptr && list_->topLevelItemCount() > 0)
        list_->setCurrentItem(list_->topLevelItem(0));
    showSelected();
}

void FaultList::showRow(int row) {
    const QScopedValueRollback<bool> filling(filling_, true);
    const Fault& fault = faults_[row];
    QTreeWidgetItem* item = list_->topLevelItem(row);
    item->setFirstColumnSpanned(fault.heading);
    item->setFlags(fault.heading ? Qt::ItemFlags()
                                 : Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
    if (fault.heading) {
        item->setText(Name, tr("Manners of the library"));
        item->setForeground(Name, palette().text());  // nothing to switch, and to be read all the same
        item->setData(Name, Qt::CheckStateRole, QVariant());
        return;
    }
    item->setText(Name, fault.name);
    item->setCheckState(Name, fault.on ? Qt::Checked : Qt::Unchecked);
    const QString axis = fault.axis < 0 ? tr("all") : QString::number(fault.axis + 1);
    item->setText(Axis, fault.on || fault.chosen ? axis : QString());
    item->setText(Amount, fault.unit.isEmpty() ? QString() : QString::number(fault.amount) + afterAmount(fault.unit));
    for (int column = Name; column < Columns; ++column)
        item->setToolTip(column, fault.text);
}

void FaultList::showSelected() {
    const QScopedValueRollback<bool> filling(filling_, true);
    const int row = list_->indexOfTopLevelItem(list_->currentItem());
    const bool any = row >= 0 && row < faults_.size();
    const Fault fault = any ? faults_[row] : Fault();
    text_->setText(any ? tr("%1: %2").arg(fault.name, fault.text) : tr("No fault is selected"));
    axis_->setEnabled(any);
    axis_->setValue(fault.axis + 1);
    amount_->setEnabled(any && !fault.unit.isEmpty());
    amount_->setSuffix(fault.unit.isEmpty() ? QString() : afterAmount(fault.unit));
    amount_->setValue(fault.amount);
}

void FaultList::changed(QTreeWidgetItem* item) {
    const int row = list_->indexOfTopLevelItem(item);
    const bool on = item->checkState(Name) == Qt::Checked;
    if (filling_ || row < 0 || on == faults_[row].on)
        return;
    list_->setCurrentItem(item);  // what is ticked is described, and its axis and amount can be chosen
    set(row, on);
}

void FaultList::choose() {
    const int row = list_->indexOfTopLevelItem(list_->currentItem());
    if (filling_ || row < 0)
        return;
    Fault& fault = faults_[row];
    fault.axis = axis_->value() - 1;
    fault.amount = amount_->value();
    fault.chosen = true;
    showRow(row);
    if (fault.on)
        set(row, true);
}

void FaultList::set(int row, bool on) {
    Fault& fault = faults_[row];
    fault.on = on;
    QJsonObject fields{{"name", fault.name}, {"on", on}, {"axis", fault.axis}};
    // The arm knows the usual amount of each fault; what was not chosen here is left to it.
    if (fault.chosen && !fault.unit.isEmpty())
        fields["amount"] = fault.amount;
    asked_ = true;
    link_.send("fault.set", fields, [this, row](const QJsonObject& answer) {
        asked_ = false;
        if (!answer["ok"].toBool() && row < faults_.size())
            faults_[row].chosen = false;
        known_ << QString();  // unlike any list: the next state asks for the true one
    });
}

void FaultList::clearAll() {
    for (Fault& fault : faults_)
        fault.chosen = false;
    asked_ = true;
    link_.send("fault.clear", {}, [this](const QJsonObject&) {
        asked_ = false;
        known_ << QString();
    });
}
