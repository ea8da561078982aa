// The force sliders' way back to zero. It runs at every change of tab, so that no slider's force persists
// while another test runs.
#include "qttharlentest.h"

void qtTharlenTest::onClickResetForces() { resetForceSliders(); }

void qtTharlenTest::resetForceSliders() {
    for (float& force : m_forceToSend)
        force = 0;
    for (QSlider* slider :
         {ui.slider_X, ui.slider_Y, ui.slider_Z, ui.slider_TX, ui.slider_TY, ui.slider_TZ}) {
        if (slider->value() != 0)
            slider->setValue(0);
    }
}
