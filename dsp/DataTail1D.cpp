#include "dsp/DataTail1D.h"

namespace DSP {

void DataTail1D::Configure(int /*nInputs*/, int /*nOutputs*/, int nMaxFrames) {
    SetUp(nMaxFrames, TailLength());
}

}  // namespace DSP
