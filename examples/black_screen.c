/* Black-screen reports and the video-play detector from C.
 *
 * usage: black_screen [SECONDS]    (10 without)
 *
 * Build: cc black_screen.c $(pkg-config --cflags --libs contents-recognition-api glib-2.0)
 */
#include <contents-recognition-api/cri.h>
#include <glib.h>
#include <stdio.h>
#include <stdlib.h>

/* Capture type for the video-play detector: what the recognition service expects. */
enum { CAPTURE_TYPE = 1 };

struct counts {
    int reports;
    int statuses;
};

/* Each report is ours: release it here, or keep it and release it later, on any thread. */
static void on_report(cri_bs_info_h info, void* user_data) {
    struct counts* counts = user_data;
    ++counts->reports;
    printf("%s, probability %.2f, colour #%02x%02x%02x%s\n",
           cri_bs_info_get_is_solid(info) ? "one colour" : "a picture",
           cri_bs_info_get_solid_prob(info), cri_bs_info_get_major_red(info),
           cri_bs_info_get_major_green(info), cri_bs_info_get_major_blue(info),
           cri_bs_info_get_is_real_black(info) ? ", true black" : "");
    fflush(stdout);
    cri_bs_info_destroy(info);
}

static void on_video_play(SM_VPD_STATUS status, void* user_data) {
    struct counts* counts = user_data;
    ++counts->statuses;
    printf("video play: status %d\n", (int)status);
    fflush(stdout);
}

static gboolean on_time_over(gpointer loop) {
    g_main_loop_quit(loop);
    return G_SOURCE_REMOVE;
}

static const char* text_of(int result) {
    switch (result) {
        case CRI_ERROR_NONE:
            return "done";
        case CRI_ERROR_INVALID_PARAMETER:
            return "invalid parameter";
        default:
            return "the recognition service did not answer";
    }
}

/* Callbacks come on the thread that runs the main loop. */
static void run_main_loop(guint seconds) {
    GMainLoop* loop = g_main_loop_new(NULL, FALSE);
    g_timeout_add_seconds(seconds, on_time_over, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
}

int main(int argc, char** argv) {
    const int asked = argc > 1 ? atoi(argv[1]) : 10;
    const guint seconds = asked > 0 ? (guint)asked : 1;
    struct counts counts = {0, 0};
    int id = 0;
    int period = 0;

    int result = cri_add_blackscreen_event_cb(&id, on_report, &counts);
    if (result != CRI_ERROR_NONE) {
        fprintf(stderr, "black-screen reports: %s\n", text_of(result));
        return 1;
    }
    if (cri_get_blackscreen_period_ms(&period) == CRI_ERROR_NONE)
        printf("the engine looks every %d ms\n", period);

    result = cri_sm_vpd_service_start(on_video_play, &counts, CAPTURE_TYPE);
    if (result != CRI_ERROR_NONE) fprintf(stderr, "video play: %s\n", text_of(result));

    run_main_loop(seconds);

    /* Stop even after a start that failed: its callback may be attached. */
    cri_sm_vpd_service_stop();
    result = cri_remove_blackscreen_event_cb(id);
    printf("%d reports, %d video-play statuses; unsubscribed: %s\n", counts.reports,
           counts.statuses, text_of(result));
    return result == CRI_ERROR_NONE ? 0 : 1;
}
