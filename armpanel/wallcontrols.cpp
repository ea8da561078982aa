// The "Walls" tab.
#include "wallcontrols.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QPushButton>

#include "controls.h"

namespace {

constexpr int kWallTimes = 3;  // pushes that the box test wants of each wall

}  // namespace

WallControls::WallControls(HandWishes& hand, QWidget* parent) : QWidget(parent), hand_(hand) {
    auto* box = new QGroupBox(tr("Push through a wall of the box, and return"), this);
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(8, 6, 8, 8);
    grid->setSpacing(6);
    static const char* const kSides[kWalls] = {"right", "left", "top", "bottom", "inner, towards you", "rear"};
    static const char* const kTexts[kWalls] = {QT_TR_NOOP("+X  right"), QT_TR_NOOP("-X  left"),
                                               QT_TR_NOOP("+Y  top"),   QT_TR_NOOP("-Y  bottom"),
                                               QT_TR_NOOP("+Z  inner"), QT_TR_NOOP("-Z  rear")};
    for (int wall = 0; wall < kWalls; ++wall) {
        auto* button = new QPushButton(tr(kTexts[wall]), box);
        button->setToolTip(tr("Push once through the wall %1 (%2) and return").arg(wallName(wall), tr(kSides[wall])));
        connect(button, &QPushButton::clicked, this, [this, wall] {
            hand_.play(wallScript(wall, 1, overEdge_->isChecked()), tr("wall %1 pushed").arg(wallName(wall)));
        });
        grid->addWidget(button, wall % 2, wall / 2);
    }
    const QString allText = tr("&All walls, %1 times each").arg(kWallTimes);
    auto* all = new QPushButton(allText, box);
    setTip(all, allText, tr("Push through each of the six walls %1 times").arg(kWallTimes));
    connect(all, &QPushButton::clicked, this,
            [this] { hand_.play(allWallsScript(kWallTimes, overEdge_->isChecked()), tr("all walls pushed")); });
    grid->addWidget(all, 2, 0, 1, 2);
    const QString edgeText = tr("over an ed&ge");
    overEdge_ = new QCheckBox(edgeText, box);
    setTip(overEdge_, edgeText,
           tr("Lean on the next wall too: an arm whose force is limited axis by axis gives way "
              "only where two walls press at once"));
    grid->addWidget(overEdge_, 2, 2);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->addWidget(box);
    layout->addStretch();
}
