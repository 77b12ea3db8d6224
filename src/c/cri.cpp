/// The C interface: checks pointers, forwards to the recognition-service client, maps its results.
#include "cri.h"

#include "ContentsRecognitionAPI.h"
#include "base/Wall.h"

using Api = CContentsRecognitionAPI;

namespace {

int Code(bool done) {
    return done ? CRI_ERROR_NONE : CRI_ERROR_OPERATION_FAILED;
}

/// A field of the report, or the zero value without one.
template <class Field>
Field Get(cri_bs_info_h info, Field cri_bs_info_s::*field) {
    return info ? info->*field : Field();
}

}  // namespace

int cri_add_blackscreen_event_cb(int* id, cri_blackscreen_event_cb callback, void* user_data) {
    if (!id || !callback) return CRI_ERROR_INVALID_PARAMETER;
    const int subscription = cri::Walled(-1, [=] {
        return Api::SubscribeBlackScreenEvent([callback, user_data](cri_bs_info_s info) {
            callback(new cri_bs_info_s(info), user_data);  // the callback's from here on
        });
    });
    if (subscription < 0) return CRI_ERROR_OPERATION_FAILED;
    *id = subscription;
    return CRI_ERROR_NONE;
}

int cri_remove_blackscreen_event_cb(int id) {
    return id < 0 ? CRI_ERROR_INVALID_PARAMETER : Code(Api::UnsubscribeBlackScreenEvent(id));
}

int cri_get_blackscreen_period_ms(int* period_ms) {
    if (!period_ms) return CRI_ERROR_INVALID_PARAMETER;
    int period = 0;
    if (!Api::GetBlackScreenPeriodMillis(period)) return CRI_ERROR_OPERATION_FAILED;
    *period_ms = period;
    return CRI_ERROR_NONE;
}

int cri_bs_info_destroy(cri_bs_info_h info) {
    if (!info) return CRI_ERROR_INVALID_PARAMETER;
    delete info;
    return CRI_ERROR_NONE;
}

bool cri_bs_info_get_is_solid(cri_bs_info_h info) {
    return Get(info, &cri_bs_info_s::is_solid);
}

double cri_bs_info_get_solid_prob(cri_bs_info_h info) {
    return Get(info, &cri_bs_info_s::solid_prob);
}

uint8_t cri_bs_info_get_major_red(cri_bs_info_h info) {
    return Get(info, &cri_bs_info_s::major_red);
}

uint8_t cri_bs_info_get_major_green(cri_bs_info_h info) {
    return Get(info, &cri_bs_info_s::major_green);
}

uint8_t cri_bs_info_get_major_blue(cri_bs_info_h info) {
    return Get(info, &cri_bs_info_s::major_blue);
}

bool cri_bs_info_get_is_real_black(cri_bs_info_h info) {
    return Get(info, &cri_bs_info_s::is_real_black);
}

int cri_sm_cad_service_start(cri_sm_cad_cb callback, void* user_data, int capture_type) {
    if (!callback) return CRI_ERROR_INVALID_PARAMETER;
    return Code(Api::SM_CADServiceStart(callback, user_data, capture_type));
}

int cri_sm_cad_service_stop(void) {
    return Code(Api::SM_CADServiceStop());
}

int cri_sm_cad_service_pause(void) {
    return Code(Api::SM_CADServicePause());
}

int cri_sm_cad_service_resume(int capture_type) {
    return Code(Api::SM_CADServiceResume(capture_type));
}

int cri_sm_vpd_service_start(cri_sm_vpd_cb callback, void* user_data, int capture_type) {
    if (!callback) return CRI_ERROR_INVALID_PARAMETER;
    return Code(Api::SM_VPDServiceStart(callback, user_data, capture_type));
}

int cri_sm_vpd_service_stop(void) {
    return Code(Api::SM_VPDServiceStop());
}

int cri_sm_vpd_service_pause(void) {
    return Code(Api::SM_VPDServicePause());
}

int cri_sm_vpd_service_resume(int capture_type) {
    return Code(Api::SM_VPDServiceResume(capture_type));
}

int cri_sm_service_change(int capture_type) {
    return Code(Api::SMServiceChange(capture_type));
}

int cri_sm_service_res_change(int resolution) {
    return Code(Api::SMServiceResChange(resolution));
}

int cri_sm_service_cs_change(int capture_speed) {
    return Code(Api::SMServiceCSChange(capture_speed));
}

int cri_sm_service_set_resolution_wh(int width, int height) {
    return Code(Api::SMServiceSetResolutionWH(0, width, height));
}

int cri_sm_service_set_resolution_orientation_wh(int orientation, int width, int height) {
    return Code(Api::SMServiceSetResolutionWH(orientation, width, height));
}
