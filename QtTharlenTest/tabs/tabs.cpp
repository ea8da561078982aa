#include "tabs.h"

using Form = Ui::qtTharlenTestClass;
using Window = qtTharlenTest;

// clang-format off
const Window::Tab Window::Tab::all[] = {
    {0, &Form::tab_0, "", "Mode",
     0, 0, &Window::enterMode, nullptr},
    {1, &Form::tab_1, "./Resources/select.png", "Select",
     kUser | kManufacturing | kPerformance, 0, &Window::enterSelect, &Window::leaveSelect},
    {2, &Form::tab_2, "./Resources/calibrate.png", "Calibrate",
     kUser | kManufacturing | kPerformance, 0, &Window::enterCalibrate, &Window::leaveCalibrate},
    {3, &Form::tab_3, "./Resources/read.png", "Read Encoder",
     kUser | kManufacturing, 0, &Window::enterReadEncoder, &Window::leaveReadEncoder},
    {4, &Form::tab_4, "", "Calibration Details",
     0, kManufacturing, &Window::enterCalibrationDetails, &Window::leaveCalibrationDetails},
    {5, &Form::tab_5, "", "Encoder Test",
     kEncoderCheck, kEncoderCheck, &Window::enterEncoderTest, &Window::leaveEncoderTest},
    {6, &Form::tab_6, "./Resources/cycle_amps.png", "Cycle Amps",
     kUser | kManufacturing, 0, &Window::enterCycleAmps, &Window::leaveCycleAmps},
    {7, &Form::tab_7, "./Resources/force.png", "Test Forces",
     kUser | kManufacturing, 0, &Window::enterTestForces, &Window::leaveTestForces},
    {8, &Form::tab_8, "./Resources/friction.png", "Test Friction",
     kManufacturing, kManufacturing, &Window::enterTestFriction, nullptr},
    {9, &Form::tab_9, "./Resources/passivity.png", "Test Capstan",
     kManufacturing, kManufacturing, &Window::enterTestCapstan, nullptr},
    {10, &Form::tab_10, "./Resources/box.png", "Box Test",
     kUser | kManufacturing, 0, &Window::enterBoxTest, &Window::leaveBoxTest},
    {11, &Form::tab_11, "./Resources/servorate.png", "Servoloop",
     kUser | kManufacturing, 0, &Window::enterServoloop, &Window::leaveServoloop},
    {12, &Form::tab_12, "./Resources/summary.png", "Summary",
     kManufacturing, 0, &Window::enterSummary, nullptr},
    {15, &Form::tab_15, "", "Performance Testing",
     kPerformance, 0, &Window::enterPerformanceTesting, &Window::leavePerformanceTesting},
};
// clang-format on
