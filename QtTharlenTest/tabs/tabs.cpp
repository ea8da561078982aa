#include "tabs.h"

#include <algorithm>
#include <iterator>

using Form = Ui::qtTharlenTestClass;

// clang-format off
const Tab Tab::all[] = {
    {0, &Form::tab_0, "", "Mode",
     0, 0, enterMode, nullptr},
    {1, &Form::tab_1, "./Resources/select.png", "Select",
     kUser | kManufacturing | kPerformance, 0, enterSelect, leaveSelect},
    {2, &Form::tab_2, "./Resources/calibrate.png", "Calibrate",
     kUser | kManufacturing | kPerformance, 0, enterCalibrate, leaveCalibrate},
    {3, &Form::tab_3, "./Resources/read.png", "Read Encoder",
     kUser | kManufacturing, 0, enterReadEncoder, leaveReadEncoder},
    {4, &Form::tab_4, "", "Calibration Details",
     0, kManufacturing, enterCalibrationDetails, leaveCalibrationDetails},
    {5, &Form::tab_5, "", "Encoder Test",
     kEncoderCheck, kEncoderCheck, enterEncoderTest, leaveEncoderTest},
    {6, &Form::tab_6, "./Resources/cycle_amps.png", "Cycle Amps",
     kUser | kManufacturing, 0, enterCycleAmps, leaveCycleAmps},
    {7, &Form::tab_7, "./Resources/force.png", "Test Forces",
     kUser | kManufacturing, 0, enterTestForces, leaveTestForces},
    {8, &Form::tab_8, "./Resources/friction.png", "Test Friction",
     kManufacturing, kManufacturing, enterTestFriction, nullptr},
    {9, &Form::tab_9, "./Resources/passivity.png", "Test Capstan",
     kManufacturing, kManufacturing, enterTestCapstan, nullptr},
    {10, &Form::tab_10, "./Resources/box.png", "Box Test",
     kUser | kManufacturing, 0, enterBoxTest, leaveBoxTest},
    {11, &Form::tab_11, "./Resources/servorate.png", "Servoloop",
     kUser | kManufacturing, 0, enterServoloop, leaveServoloop},
    {12, &Form::tab_12, "./Resources/summary.png", "Summary",
     kManufacturing, 0, enterSummary, nullptr},
    {15, &Form::tab_15, "", "Performance Testing",
     kPerformance, 0, enterPerformanceTesting, leavePerformanceTesting},
};
// clang-format on

const Tab* findTab(const QString& title) {
    const auto found =
        std::find_if(std::begin(Tab::all), std::end(Tab::all), [&title](const Tab& row) { return title == row.title; });
    return found == std::end(Tab::all) ? nullptr : found;
}
