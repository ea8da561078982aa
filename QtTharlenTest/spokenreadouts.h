// What a screen reader says of the form's read-outs and lamps.
#pragma once

/// Makes a screen reader say what a read-out or lamp shows after its name. The toolkit says the accessible name of
/// a widget in place of its text, so that a reader would hear "Encoder X" and never the count. Meant are labels and
/// number displays that have an accessible name, and buttons with one that cannot be pressed by keyboard. GUI
/// thread, before the form is built.
void speakReadOuts();
