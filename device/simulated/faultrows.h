// What can be wrong with the arm, and manners of its library that an application has to bear: a row each, for whoever
// includes it with a FAULT of their own. Name in the code, name, what its axis counts, lowest, highest and usual amount
// (both ends 0: it has none), whole numbers only, unit, text.
// clang-format off
FAULT(Unplugged, "unplugged", None, 0, 0, 0, false, "",
      "the cable is out: no answer, no force, a communication error each tick")
FAULT(Amplifier, "amplifier", None, 0, 0, 0, false, "", "the amplifiers report a fault and stay off")
FAULT(NoAmplifierFollow, "no-amplifier-follow", None, 0, 0, 0, false, "",
      "the amplifiers do not follow when they are turned on")
FAULT(Status, "status", None, -99, -1, -32, true, "code", "each refresh of the device returns this code")
FAULT(Overspeed, "overspeed", BaseAxis, 0, 0, 0, false, "", "the speed check of an axis trips at any speed")
FAULT(Hot, "hot", AnyAxis, 25, 300, 95, false, "degrees C", "a winding stays at this temperature")
FAULT(DeadEncoder, "dead-encoder", AnyAxis, 0, 0, 0, false, "", "an encoder stands still")
FAULT(DriftingEncoder, "drifting-encoder", AnyAxis, -1e5, 1e5, 60, false, "counts/minute",
      "an encoder counts by itself")
FAULT(ShortTravel, "short-travel", AnyAxis, 0.01, 0.9, 0.12, false, "fraction",
      "this part of an axis's travel is blocked, half at each end")
FAULT(StickyBearing, "sticky-bearing", AnyAxis, 1.1, 100, 8, false, "times",
      "dry friction of an axis is so many times the healthy one")
FAULT(SlippingCapstan, "slipping-capstan", BaseAxis, 1, 1e5, 300, false, "counts/s",
      "the cable slips while the motor pushes with more than 0.42 V")
FAULT(WeakMotor, "weak-motor", AnyAxis, 0, 0.99, 0.5, false, "fraction", "this part of a motor's torque is left")
FAULT(ReversedMotor, "reversed-motor", AnyAxis, 0, 0, 0, false, "", "a motor turns the wrong way")
FAULT(StuckSwitch, "stuck-switch", Button, 0, 1, 1, true, "0 or 1",
      "a stylus button reads released (0) or pressed (1) for ever")
FAULT(BouncingSwitch, "bouncing-switch", Button, 1, 1000, 40, false, "ms",
      "a stylus button bounces this long when it changes")
FAULT(MissingFlag, "missing-flag", BaseAxis, 0, 0, 0, false, "", "the home sensor of an axis sees nothing")
FAULT(WideFlag, "wide-flag", BaseAxis, 1, 600, 240, false, "counts",
      "the middle home flag of an axis is this much too wide, and the gaps beside it too narrow")
FAULT(NarrowGap, "narrow-gap", BaseAxis, 1, 390, 150, false, "counts",
      "the first home flag sits this much nearer to the second; where there is one flag nothing changes")
FAULT(RefusedReset, "refused-reset", None, 0, 0, 0, false, "", "a reset is refused in any pose")
FAULT(Jitter, "jitter", None, 1, 5000, 300, false, "us", "ticks of the loop come up to this much late")
FAULT(Stall, "stall", None, 1, 2000, 50, false, "ms", "the loop stands still once for this long")
FAULT(DroppedTicks, "dropped-ticks", None, 1, 90, 10, false, "percent", "so many of the ticks never come")
FAULT(InitFails, "init-fails", None, 0, 0, 0, false, "", "opening a device fails")
FAULT(InitThrows, "init-throws", None, 0, 0, 0, false, "", "opening a device throws an exception")
FAULT(NoLoop, "no-loop", None, 0, 0, 0, false, "", "the servo loop does not start")
FAULT(ReadFails, "read-fails", Device, 0, 0, 0, false, "",
      "the record of a device cannot be read; the axis is its place in the fleet")
FAULT(LateStop, "late-stop", Library, 1, 100, 3, true, "ticks", "a loop that is to stop runs so many ticks more")
FAULT(SlowTicks, "slow-ticks", Library, 1, 100, 5, false, "ms",
      "refresh and command of a tick take half of this time each; in real time only")
FAULT(OneOpening, "one-opening", Library, 0, 0, 0, false, "", "a device is not opened while another one is open")
FAULT(EagerLoop, "eager-loop", Library, 0, 0, 0, false, "",
      "the loop is created by its start, and ticks before the start has returned")
FAULT(HangingReads, "hanging-reads", Library, 1, 10000, 2000, false, "ms",
      "a read of the graphical thread hangs for this long, and again after as long a time")
// clang-format on
