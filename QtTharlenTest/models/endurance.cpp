// Gains and routes of the closed-loop encoder test.
#include "endurance.h"

// Axes, limit, step of the set point, settle tolerance; growth and part of the limit at test points; route.
// clang-format off
const EncoderTestLine kOrdaEndurance = {
    {{15.0f, 0.2f, 500.0f, 1.0f, 150.0f},
     {32.0f, 0.4f, 1500.0f, 1.0f, 255.0f},
     {15.5f, 0.35f, 1000.0f, -1.0f, 120.0f}},
    15000, 8, 2,
    {5, 2, 10}, {10, 5, 5},
    {{0, 0, 0},
     {0, -500, 0},
     {2243, -500, 0},
     {-2355, -500, 0},
     {0, -500, 0},
     {0, -3755, 2500},
     {0, -95, 500},
     {0, -200, 2205},
     {0, -200, -455}}};

const EncoderTestLine kCorvaleEndurance = {
    {{10.0f, 0.08f, 75.0f, 1.0f, 0.0f}, {10.0f, 0.08f, 75.0f, 1.0f, 0.0f}, {10.0f, 0.08f, 75.0f, 1.0f, 0.0f}},
    7000, 4, 1,
    {2, 1, 4}, {5, 2, 2},
    {{0, 0, 0},
     {0, 0, 0},
     {-8000, -15000, -7000},
     {8000, -3000, -6000},
     {8000, -11000, -8000},
     {-8000, -3000, 2000},
     {8000, -15000, -5000},
     {-8000, -3000, -6000},
     {-8000, -11000, -8000}}};

// The USB card counts the third axis the other way round.
const EncoderTestLine kCorvaleUsbEndurance = {
    {{5.0f, 0.04f, 30.0f, 1.0f, 0.0f}, {5.0f, 0.04f, 30.0f, 1.0f, 0.0f}, {5.0f, 0.04f, 30.0f, -1.0f, 0.0f}},
    8500, 4, 1,
    {4, 4, 4}, {1, 1, 1},
    {{0, 0, 0},
     {0, 0, 0},
     {-8000, -15000, 7000},
     {8000, -3000, 6000},
     {8000, -11000, 8000},
     {-8000, -3000, -2000},
     {8000, -15000, 5000},
     {-8000, -3000, 6000},
     {-8000, -11000, 8000}}};
// clang-format on
