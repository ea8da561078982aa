// The table of model lines. What differs by a line's card is what its function takes.
#include "modellines.h"

#include <cstdlib>

namespace {

// Least travel of each axis, counts. Meant: the one of an Orda on a LAN card that is told is not the one that is
// judged.
constexpr AxisCounts kOrdaUsbTravel{4500, 4250, 3500, 3900, 1750, 3900};
constexpr AxisCounts kOrdaLanTravel{4500, 3800, 3500, 3550, 1500, 3000};
constexpr AxisCounts kOrdaLanTold{4500, 4250, 3500, 3550, 1500, 3000};
constexpr AxisCounts kNolvaTravel{5000, 2600, 2200, 3500, 2245, 3500};

constexpr ModelLine orda(ULONG card, const char* illustration, const AxisCounts* least, const AxisCounts* told) {
    ModelLine line;
    line.modelType = kModelOrda;
    line.cardType = card;
    line.name = "Orda";
    line.modelText = "THARLEN Orda";
    line.shownName = "Nolva";
    line.calibration = Calibration::InkWell;
    line.illustration = illustration;
    line.dockedTicks = 50;
    line.automaticInspections = line.judgesEncoders = line.judgesInkwell = true;
    line.leastTravel = least;
    line.toldTravel = told;
    line.sliderStep = 10;
    line.dacPerMilliNm = static_cast<float>(kOrdaDacPerMilliNm);
    line.mechanicalTests = true;
    line.box.continuous = 0.0;
    line.box.user = line.box.manufacturing = 0.5f;
    line.endurance = &kOrdaEndurance;
    return line;
}

constexpr ModelLine corvale(ULONG card, float stiffness, const EncoderTestLine* endurance) {
    ModelLine line;
    line.modelType = kModelCorvale;
    line.cardType = card;
    line.name = "Corvale";
    line.modelText = "THARLEN Corvale";
    line.shownName = "Nolva X";
    line.calibration = Calibration::HomeSensors;
    line.illustration = "corvale_calibration_illustration.png";
    line.automaticInspections = line.judgesEncoders = line.presenceSwitch = true;
    line.dacPerMilliNm = 340.0f;
    line.box.continuous = 0.0;
    line.box.user = line.box.manufacturing = stiffness;
    line.box.userSwitchesOff = true;
    line.endurance = endurance;
    line.setsShutdown = true;
    return line;
}

constexpr ModelLine nolva() {
    ModelLine line;
    line.modelType = kModelNolva;
    line.name = "Nolva";
    line.calibration = Calibration::InkWell;
    line.illustration = "Nolva_calibration_Illustration.png";
    line.calibrationNote =
        " Calibration may take up to a second, so do not immediately remove the arm from the ink well.";
    line.dockedReading = 1;
    line.dockedTicks = 5;
    line.automaticInspections = true;
    line.travel = {Travel::Sum, Travel::Sum, Travel::Difference, Travel::Sum, Travel::Span, Travel::Span};
    line.leastTravel = line.toldTravel = &kNolvaTravel;
    line.sliderStep = 10;
    line.box.continuous = 0.0;
    line.box.user = 0.8f;
    line.box.manufacturing = 0.5f;
    line.box.popThrough = 1.03;
    line.box.limitsEachAxis = true;
    return line;
}

constexpr ModelLine stelmar(int modelType) {
    ModelLine line;
    line.modelType = modelType;
    line.name = "Stelmar";
    line.calibration = Calibration::ResetPose;
    line.sixDof = modelType == static_cast<int>(kModelSixDof);
    line.box.manufacturing = 1.0f;
    line.box.limitsEachAxis = true;
    return line;
}

// The first that fits is taken.
constexpr ModelLine kLines[] = {
    orda(kCardUsb, "nolva2_calibration_illustration.png", &kOrdaUsbTravel, &kOrdaUsbTravel),
    orda(kCardLan, "nolva_calirbration_illustration.png", &kOrdaLanTravel, &kOrdaLanTold),
    orda(0, "nolva_calirbration_illustration.png", nullptr, nullptr),
    corvale(kCardUsb, 0.0f, &kCorvaleUsbEndurance),
    corvale(kCardLan, 0.7f, &kCorvaleEndurance),
    corvale(0, 0.0f, &kCorvaleEndurance),
    nolva(),
    stelmar(kModelSixDof),
    stelmar(0),
};

}  // namespace

const ModelLine kNoModelLine{};

const ModelLine& findModelLine(int modelType, ULONG cardType) {
    for (const ModelLine& line : kLines) {
        if ((line.modelType == 0 || line.modelType == modelType) && (line.cardType == 0 || line.cardType == cardType))
            return line;
    }
    return kNoModelLine;
}

long ModelLine::travelOf(int axis, long least, long greatest) const {
    switch (travel[static_cast<std::size_t>(axis)]) {
        case Travel::Sum:
            return std::labs(greatest) + std::labs(least);
        case Travel::Span:
            return greatest - least;
        case Travel::Difference:
            return std::labs(greatest) - std::labs(least);
    }
    return 0;
}

QString shownModelName(const QString& model) {
    for (const ModelLine& line : kLines) {
        if (line.modelText && model == QLatin1String(line.modelText))
            return line.shownName;
    }
    return model;
}
