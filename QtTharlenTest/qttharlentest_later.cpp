// Slots that the form, a timer or the meta-object names and whose tabs show but do not act yet. Each moves to its tab's own
// file together with its body; none of them reports a result.
#include "qttharlentest.h"


// Friction and capstan
void qtTharlenTest::onClickStartFrictionTest() {}
int qtTharlenTest::runFrictionTest() { return 0; }
void qtTharlenTest::onClickStartCapstanTest() {}
void qtTharlenTest::onClickVerifyCapstanTest() {}
int qtTharlenTest::runCapstanTest_ref() { return 0; }
int qtTharlenTest::runCapstanTest_verify() { return 0; }

