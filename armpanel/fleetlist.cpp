// The "Fleet" tab. The application chooses the device; here it is only shown.
#include "fleetlist.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QJsonArray>
#include <QPushButton>
#include <QTreeWidget>

#include "controls.h"
#include "readouts.h"
#include "shown.h"

FleetList::FleetList(ArmLink& link, QWidget* parent) : QWidget(parent), link_(link) {
    list_ = new QTreeWidget(this);
    list_->setHeaderLabels({tr("Device"), tr("State")});
    list_->setRootIsDecorated(false);
    list_->setAlternatingRowColors(true);
    list_->setAllColumnsShowFocus(true);
    list_->setMinimumHeight(80);
    list_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);
    list_->setAccessibleName(tr("Configured devices"));
    list_->setToolTip(tr("The devices that the application lists on its \"Select\" tab, where one is opened"));
    list_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    source_ = new LineLabel(this);
    const QString text = tr("List &anew");
    auto* anew = new QPushButton(text, this);
    setTip(anew, text, tr("Ask the arm for its devices"));
    connect(anew, &QPushButton::clicked, this, &FleetList::refresh);
    auto* row = new QHBoxLayout;
    row->addWidget(source_, 1);
    row->addWidget(anew);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->setSpacing(6);
    layout->addWidget(list_, 1);
    layout->addLayout(row);
}

void FleetList::refresh() {
    if (asked_)
        return;
    asked_ = true;
    link_.send("fleet.list", {}, [this](const QJsonObject& answer) {
        asked_ = false;
        if (answer["ok"].toBool())
            takeList(answer);
    });
}

void FleetList::takeList(const QJsonObject& answer) {
    list_->clear();
    const QJsonArray devices = answer["devices"].toArray();
    for (const QJsonValue& device : devices)
        list_->addTopLevelItem(new QTreeWidgetItem({shown(device.toString())}));
    source_->showLine(tr("%1 devices; from: %2").arg(devices.size()).arg(shown(answer["source"].toString())));
    markOpen();
}

void FleetList::markOpen() {
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = list_->topLevelItem(i);
        const bool open = !open_.isEmpty() && item->text(0) == open_;
        item->setText(1, open ? tr("open") : QString());
        QFont font = list_->font();
        font.setBold(open);
        for (int column = 0; column < 2; ++column)
            item->setFont(column, font);
        if (open)
            list_->setCurrentItem(item);
    }
}

void FleetList::showState(const ArmState& state) {
    const QString open = state.open ? QString::fromStdString(state.name) : QString();
    if (open == open_)
        return;
    open_ = open;
    markOpen();
    if (!open.isEmpty() && list_->findItems(open, Qt::MatchExactly).isEmpty())
        refresh();
}
