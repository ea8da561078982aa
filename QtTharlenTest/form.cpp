// The form's generated code, thousands of lines that run once, is compiled here alone, and without optimising: that
// would take the compiler as long as ten other files.
#include "looks.h"
#include "qttharlentest.h"

void makeForm(qtTharlenTest& window) { window.ui.setupUi(&window); }
