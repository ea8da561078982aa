// The limit records and the report record, and the build's fixed switches.
#pragma once

#include <array>

#include "device/tharlenio.h"

// Fixed switches of the build. Only MANUFACTURING_LODRIN is read (LoadConfigurations).
constexpr bool MANUFACTURING = true;
constexpr bool MANUFACTURING_LODRIN = false;
constexpr bool g_mp_system = false;

// --- Limits ------------------------------------------------------------------------------------

/// Width of a flag or gap, encoder counts, both ends inclusive.
typedef struct _SENSOR_WIDTH_LIMIT {
    long lMinWidth;
    long lMaxWidth;
} SENSOR_WIDTH_LIMIT;

typedef struct _AXIS_SENSOR_WIDTH_LIMITS {
    SENSOR_WIDTH_LIMIT aswlFlagLimits[3];
    SENSOR_WIDTH_LIMIT aswlGapLimits[2];
} AXIS_SENSOR_WIDTH_LIMITS;

/// Encoder range of an axis, counts from the calibrated zero.
typedef struct _AXIS_RANGE_LIMITS {
    long lStart;
    long lEnd;
} AXIS_RANGE_LIMITS;

typedef struct _AXIS_FORCE_LIMITS {
    float fMinVoltage;  ///< volts
    float fMaxVoltage;  ///< volts
} AXIS_FORCE_LIMITS;

typedef struct _POS_VECTOR {
    int anCoords[3];  ///< encoder counts
} POS_VECTOR;

typedef struct _VOLTAGE_VECTOR {
    float afVoltages[3];  ///< volts
} VOLTAGE_VECTOR;

typedef struct _AXIS_FRICTION_LIMITS {
    int nEncoderChange;    ///< counts that mean "moved"
    float fVoltageIncr;    ///< volts a step
    float fVoltageChange;  ///< highest voltage that passes, volts
} AXIS_FRICTION_LIMITS;

typedef struct _AXIS_CAPSTAN_LIMITS {
    int nEncoderChange;  ///< greatest permitted difference, counts
    float fVoltageIncr;  ///< volts a step
    float fDamping;      ///< volts per mm/s
} AXIS_CAPSTAN_LIMITS;

/// What the three records share. The tests' own constants decide most verdicts; see tharlenlimits.cpp for
/// the fields that are read.
struct CONFIG_DATA_COMMON {
    AXIS_RANGE_LIMITS axrlBaseRanges[3];    ///< counts
    AXIS_RANGE_LIMITS axrlStylusRanges[3];  ///< counts
    int nSwitchTransitions;
    int nPresenceTransitions;
    bool bEncoderTestsCanFail;
    int nAmplifierTransitions;
    bool bAmplifierTestCanFail;
    AXIS_FORCE_LIMITS axflForces[3];
    bool bForceTestsCanFail;
    VOLTAGE_VECTOR vvFrictionMaxVoltage;
    AXIS_FRICTION_LIMITS axtlFriction[3];
    bool bFrictionTestsCanFail;
    VOLTAGE_VECTOR vvCapstanMaxVoltage;
    AXIS_CAPSTAN_LIMITS axclCapstan[3];
    int nCapstanTimeAtMax;  ///< ticks
    bool bCapstanTestsCanFail;
    float afBoxStiffness[3];
    int nWallTransitions;
    int nBoxPopThroughTicks;  ///< ticks
    bool bBoxTestCanFail;
};

struct CONFIG_DATA_CORVALE : CONFIG_DATA_COMMON {
    AXIS_SENSOR_WIDTH_LIMITS axswlWidthLimits[3];
};

struct CONFIG_DATA_PIRKA : CONFIG_DATA_COMMON {};

struct CONFIG_DATA_LODRIN : CONFIG_DATA_COMMON {
    bool bAllowLodrinsOnly;
};

/// The limits of each line, as filled into the window at construction (tharlenlimits.cpp).
CONFIG_DATA_CORVALE corvaleLimits();
CONFIG_DATA_PIRKA pirkaLimits();
CONFIG_DATA_LODRIN lodrinLimits();

// --- Report ------------------------------------------------------------------------------------

/// The verdicts of every test, as printed by the report. Arrays of six: base axes, then gimbal.
struct REPORTFIELDS {
    bool bCalibrationPass;

    long lMinEncoderVal[6];      ///< counts
    long lMaxEncoderVal[6];      ///< counts
    bool bEncoderPass[6];        ///< automatic
    bool bManualEncoderPass[6];  ///< the operator's choice

    bool bSwitchPass;
    bool bPresencePass;
    bool bInkwellPass;
    bool bExtraSwitchPass;
    bool bManualSwitchPass;
    bool bManualPresencePass;
    bool bManualInkwellPass;
    bool bManualExtraSwitchPass;
    bool bManualPinchPass;

    AXIS_SENSOR_DATA asdData[3];
    bool bOwnsSensorMemory;  ///< the destructor frees what asdData points to

    bool bAmplifierPass;

    float fMinVoltageVal[6];  ///< volts
    float fMaxVoltageVal[6];  ///< volts
    float fMinForceVal[6];    ///< DAC counts, in spite of the name
    float fMaxForceVal[6];    ///< DAC counts
    bool bForcesPass[6];
    bool bManualForcesPass[6];

    int nFrictionChange[3];     ///< counts
    float fFrictionVoltage[3];  ///< volts
    bool bFrictionPass[3];

    int nCapstanChange[3];  ///< counts
    bool bCapstanPass[3];

    bool bBoxPass;
};

/// The record. Constructor and destructor both leave all of it zero.
typedef struct _REPORTDATA : REPORTFIELDS {
    _REPORTDATA() : REPORTFIELDS{} {}
    ~_REPORTDATA();
    _REPORTDATA(const _REPORTDATA&) = delete;
    _REPORTDATA& operator=(const _REPORTDATA&) = delete;
} REPORTDATA;
