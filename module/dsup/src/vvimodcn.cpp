// Knows the connection entry, the anchors and what the image says about itself; calls no service. The build gives the
// three texts of the image information.
#include "vvimodcn.h"

GCB *v_global_gcb_anchor;
void *v_global_pidb_anchor;
TOOLKIT *Exported_ZKHandle;

const IMAGE_INFORMATION vi_mcn = {
    .marker = "VOR_Image_Information=",
    .version = VORIMDTA_VERSION,
    .release = VORIMDTA_RELEASE,
    .build_date = VORIMDTA_BUILD_DATE,
};

void himodcn() {}

const IMAGE_INFORMATION *mcn_main(GCB *gcb, void *pidb) {
    v_global_gcb_anchor = gcb;
    v_global_pidb_anchor = pidb;
    himodcn();
    Exported_ZKHandle = gcb->toolkit;
    return &vi_mcn;
}
