// The hand of a person at the stylus: a spring and damper of limited force that pulls the endpoint or the
// joints to where the hand wants them. Also what holds the stylus while it rests in the ink well.
#pragma once

#include "dynamics.h"

namespace arm {

class Hand {
public:
    enum class Mode {
        Away,       ///< nobody holds the stylus
        Point,      ///< pulls the endpoint to a point
        Joints,     ///< holds joint angles
        Sweep,      ///< moves one joint from stop to stop and back
        Docking,    ///< on the way into the ink well
        Docked,     ///< let go, in the ink well
        Undocking,  ///< on the way to the origin
    };

    /// Pulls to `target` (mm), along a straight line from `from` at `speed` mm/s; 0 is at once.
    void point(const Vector3& target, const Vector3& from, double speed, const Motion& motion);
    /// Holds joint angles (rad), pulled there at `speed` rad/s.
    void joints(const Vector6& goal, double speed, const Motion& motion);
    void sweep(int axis, double speed, const Motion& motion);
    void dock(const LineFigures& line, const Motion& motion);
    void undock(const LineFigures& line, const Motion& motion);
    /// Turns the gimbal (rad), gripping the stylus where it is if nobody holds it.
    void gimbal(const Vector3& angles, const Motion& motion);
    void release() { mode_ = Mode::Away; }

    /// Moves what the hand wants on by `seconds`, and lets one movement follow the other.
    void advance(const Wear& wear, const Motion& motion, double seconds);
    /// The pull of this instant.
    Pull pull(const LineFigures& line, const Motion& motion);

    Mode mode() const { return mode_; }
    bool holding() const { return mode_ != Mode::Away && mode_ != Mode::Docked; }
    bool docked() const { return mode_ == Mode::Docked; }
    Vector3 target(const LineFigures& line) const;  ///< mm
    double force() const { return force_; }         ///< N, of the last pull

    double strength = 25.0;  ///< N; below the usual 25 a hand at a point also is softer, in proportion

private:
    void beginJoints(Mode mode, const Vector6& goal, double speed, const Motion& motion);
    void pullPoint(const LineFigures& line, const Motion& motion, Pull& pull);
    void pullJoints(const LineFigures& line, const Motion& motion, int first, Pull& pull);
    void nextOfSweep(const Wear& wear, double seconds);

    Mode mode_ = Mode::Away;
    Vector3 pointGoal_ = Vector3::Zero(), pointWanted_ = Vector3::Zero();  // mm
    double pointSpeed_ = 0.0;                                              // mm/s
    Vector6 jointGoal_ = Vector6::Zero(), jointWanted_ = Vector6::Zero();  // rad
    double jointSpeed_ = 1.0;                                              // rad/s
    int sweepAxis_ = 0, sweepStage_ = 0;
    double sweepBack_ = 0.0;  // rad
    double dwell_ = 0.0;      // s since the joints reached what was wanted
    double force_ = 0.0;
};

}  // namespace arm
