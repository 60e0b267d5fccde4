/**
 * Modal boxes on Linux with GTK 3 (the contract is app/dialogs.h).
 *
 * Implements:
 *  - message boxes and the About box: a GtkDialog with the caption, an icon of the theme, the
 *    text and one "确定" button (Enter and Escape close it), centred on the screen and owned by
 *    the main window once it is shown; Chinese is drawn with whatever CJK font fontconfig offers
 *    (fonts-noto-cjk on Debian);
 *  - file dialogs: GTK's native file chooser with the filters "Text Files (*.txt)" and
 *    "All Files (*.*)", the first selected; save adds ".txt" to a bare name and asks before
 *    replacing a file on request (also for the name with the added extension);
 *  - while a box is open a 5 ms timeout of GTK's nested loop pumps the program's loop (serial
 *    drain, tick, repaint) and the main window takes no input; a quit request closes the box.
 *
 * NOTE: GTK is loaded (dlopen of libgtk-3.so.0) and initialised at the first box, so a start-up
 * without a box neither maps nor relocates it: about 10 ms and 5 MB of resident memory less. Its
 * headers give the types only: G_DISABLE_CAST_CHECKS makes the GTK_* casts plain casts, and every
 * call goes through g_fn, filled from the library. Without the library the box is not shown
 * (logged). GTK's initialisation sets the process locale from the environment; LC_NUMERIC is put
 * back to "C" so that number formatting stays the same everywhere in the program.
 */
#include "app/dialogs.h"

#include "app/app.h"
#include "app/main_loop.h"
#include "app/window.h"
#include "app/window_sdl.h"
#include "common/debug_log.h"
#include "common/lang.h"

#define G_DISABLE_CAST_CHECKS /* GTK_DIALOG(x) and friends: no call into GObject */
#include <gtk/gtk.h>
#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif

#include <clocale>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <sys/stat.h>

namespace {

/* The GTK, GDK, GObject and GLib calls of this file, taken from libgtk-3 and the libraries it
 * brings along. */
#define GTK_CALLS(X)                                                                                         \
    X(gtk_init_check) X(gtk_events_pending) X(gtk_main_iteration_do) X(g_timeout_add) X(g_source_remove)       \
    X(g_object_unref) X(g_free) X(g_filename_display_name) X(g_type_check_instance_is_a)                       \
    X(gdk_x11_display_get_type) X(gdk_x11_window_foreign_new_for_display) X(gdk_window_set_transient_for)      \
    X(gtk_widget_get_display) X(gtk_widget_realize) X(gtk_widget_get_window) X(gtk_widget_destroy)             \
    X(gtk_widget_show_all) X(gtk_widget_grab_focus) X(gtk_window_set_title) X(gtk_window_set_resizable)        \
    X(gtk_window_set_position) X(gtk_window_set_skip_taskbar_hint) X(gtk_dialog_new) X(gtk_dialog_run)          \
    X(gtk_dialog_response) X(gtk_dialog_get_content_area) X(gtk_dialog_add_button)                             \
    X(gtk_dialog_set_default_response) X(gtk_message_dialog_new) X(gtk_box_new) X(gtk_box_pack_start)          \
    X(gtk_container_set_border_width) X(gtk_image_new_from_icon_name) X(gtk_label_new)                          \
    X(gtk_label_set_line_wrap) X(gtk_label_set_max_width_chars) X(gtk_label_set_xalign) X(gtk_file_filter_new) \
    X(gtk_file_filter_set_name) X(gtk_file_filter_add_pattern) X(gtk_file_chooser_add_filter)                  \
    X(gtk_file_chooser_set_filter) X(gtk_file_chooser_set_local_only)                                          \
    X(gtk_file_chooser_set_do_overwrite_confirmation) X(gtk_file_chooser_get_filename)                         \
    X(gtk_file_chooser_native_new) X(gtk_native_dialog_run) X(gtk_native_dialog_hide)

struct GtkCalls {
#define GTK_CALL_POINTER(name) decltype(&::name) name;
    GTK_CALLS(GTK_CALL_POINTER)
#undef GTK_CALL_POINTER
};
GtkCalls g_fn;

struct GtkDialogState {
    bool tried = false;
    bool ready = false;
};
GtkDialogState g_gtk;

/* Loads libgtk-3 and takes every call of GTK_CALLS from it; false (logged) when one is missing. */
bool load_gtk() {
    /* Global, as if linked: GTK's own modules (input methods, themes) expect its symbols there. */
    void* lib = dlopen("libgtk-3.so.0", RTLD_NOW | RTLD_GLOBAL);
    if (lib == nullptr) {
        dbg_log("[Error] dialogs: GTK 3 could not be loaded: %s\n", dlerror());
        return false;
    }
    bool complete = true;
#define GTK_CALL_LOAD(name)                                                                                      \
    g_fn.name = reinterpret_cast<decltype(g_fn.name)>(dlsym(lib, #name));                                     \
    if (g_fn.name == nullptr) {                                                                                  \
        dbg_log("[Error] dialogs: %s missing from GTK 3\n", #name);                                             \
        complete = false;                                                                                        \
    }
    GTK_CALLS(GTK_CALL_LOAD)
#undef GTK_CALL_LOAD
    return complete; /* the library stays loaded for the rest of the run */
}

bool gtk_ready() {
    if (g_gtk.tried) return g_gtk.ready;
    g_gtk.tried = true;
    if (!load_gtk()) return false;
    int argc = 0;
    char** argv = nullptr;
    g_gtk.ready = g_fn.gtk_init_check(&argc, &argv) != FALSE;
    setlocale(LC_NUMERIC, "C");
    if (!g_gtk.ready) dbg_log("[Error] dialogs: GTK could not be initialised (no display?)\n");
    return g_gtk.ready;
}

/* What the nested loop's timeout closes when the program is asked to quit. */
struct OpenBox {
    GtkDialog* dialog;
    GtkNativeDialog* native;
};

gboolean keep_program_running(gpointer data) {
    if (!main_loop_pump()) {
        const OpenBox* box = static_cast<const OpenBox*>(data);
        if (box->dialog != nullptr) g_fn.gtk_dialog_response(box->dialog, GTK_RESPONSE_DELETE_EVENT);
        if (box->native != nullptr) g_fn.gtk_native_dialog_hide(box->native);
    }
    return G_SOURCE_CONTINUE;
}

/* Lets GTK finish unmapping a closed box. */
void settle() {
    while (g_fn.gtk_events_pending())
        g_fn.gtk_main_iteration_do(FALSE);
}

/* Makes the main window the owner of a box, so that a window manager keeps the box above it. */
GdkWindow* set_owner(GtkWidget* dialog) {
#ifdef GDK_WINDOWING_X11
    const unsigned long owner_id = window_sdl_x11_window();
    GdkDisplay* display = g_fn.gtk_widget_get_display(dialog);
    if (owner_id == 0 ||
        !g_fn.g_type_check_instance_is_a(reinterpret_cast<GTypeInstance*>(display), g_fn.gdk_x11_display_get_type()))
        return nullptr;
    GdkWindow* owner = g_fn.gdk_x11_window_foreign_new_for_display(display, owner_id);
    if (owner == nullptr) return nullptr;
    g_fn.gtk_widget_realize(dialog);
    g_fn.gdk_window_set_transient_for(g_fn.gtk_widget_get_window(dialog), owner);
    return owner;
#else
    (void)dialog;
    return nullptr;
#endif
}

/* Runs a dialog to its answer while the program goes on, then destroys it. */
gint run_dialog(GtkWidget* widget) {
    GtkDialog* dialog = GTK_DIALOG(widget);
    GdkWindow* owner = set_owner(widget);
    OpenBox box = {dialog, nullptr};
    window_set_modal(true);
    const guint pump = g_fn.g_timeout_add(APP_TICK_PERIOD_MS, keep_program_running, &box);
    const gint response = g_fn.gtk_dialog_run(dialog);
    g_fn.g_source_remove(pump);
    g_fn.gtk_widget_destroy(widget);
    if (owner != nullptr) g_fn.g_object_unref(owner);
    settle();
    window_set_modal(false);
    return response;
}

const char* icon_name(MsgBoxIcon icon) {
    switch (icon) {
    case MsgBoxIcon::Error: return "dialog-error";
    case MsgBoxIcon::Exclamation: return "dialog-warning";
    case MsgBoxIcon::Information: break;
    }
    return "dialog-information";
}

GtkWidget* add_label(GtkWidget* column, const char* text) {
    GtkWidget* label = g_fn.gtk_label_new(text);
    g_fn.gtk_label_set_line_wrap(GTK_LABEL(label), TRUE);
    g_fn.gtk_label_set_max_width_chars(GTK_LABEL(label), 60);
    g_fn.gtk_label_set_xalign(GTK_LABEL(label), 0.0f);
    g_fn.gtk_box_pack_start(GTK_BOX(column), label, FALSE, FALSE, 0);
    return label;
}

/* A box with caption, icon, one or two lines of text and the "确定" button. */
void show_box(const char* caption, const char* icon, const char* line1, const char* line2) {
    if (main_loop_quitting() || !gtk_ready()) {
        dbg_log("[Warning] box \"%s\" not shown: %s\n", line1, main_loop_quitting() ? "quitting" : "no GTK");
        return;
    }
    GtkWidget* dialog = g_fn.gtk_dialog_new();
    g_fn.gtk_window_set_title(GTK_WINDOW(dialog), caption);
    g_fn.gtk_window_set_resizable(GTK_WINDOW(dialog), FALSE);
    g_fn.gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER);
    g_fn.gtk_window_set_skip_taskbar_hint(GTK_WINDOW(dialog), TRUE);

    GtkWidget* row = g_fn.gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 14);
    g_fn.gtk_container_set_border_width(GTK_CONTAINER(row), 14);
    GtkWidget* image = g_fn.gtk_image_new_from_icon_name(icon, GTK_ICON_SIZE_DIALOG);
    g_fn.gtk_box_pack_start(GTK_BOX(row), image, FALSE, FALSE, 0);
    GtkWidget* column = g_fn.gtk_box_new(GTK_ORIENTATION_VERTICAL, 6);
    add_label(column, line1);
    if (line2 != nullptr) add_label(column, line2);
    g_fn.gtk_box_pack_start(GTK_BOX(row), column, TRUE, TRUE, 0);
    g_fn.gtk_box_pack_start(GTK_BOX(g_fn.gtk_dialog_get_content_area(GTK_DIALOG(dialog))), row, TRUE, TRUE, 0);

    GtkWidget* ok = g_fn.gtk_dialog_add_button(GTK_DIALOG(dialog), "确定", GTK_RESPONSE_OK);
    g_fn.gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
    g_fn.gtk_widget_show_all(dialog);
    g_fn.gtk_widget_grab_focus(ok);
    run_dialog(dialog);
}

void add_filters(GtkFileChooser* chooser) {
    GtkFileFilter* text = g_fn.gtk_file_filter_new();
    g_fn.gtk_file_filter_set_name(text, "Text Files (*.txt)");
    g_fn.gtk_file_filter_add_pattern(text, "*.[tT][xX][tT]"); /* "*.txt" in any letter case */
    g_fn.gtk_file_chooser_add_filter(chooser, text);
    GtkFileFilter* all = g_fn.gtk_file_filter_new();
    g_fn.gtk_file_filter_set_name(all, "All Files (*.*)");
    g_fn.gtk_file_filter_add_pattern(all, "*");
    g_fn.gtk_file_chooser_add_filter(chooser, all);
    g_fn.gtk_file_chooser_set_filter(chooser, text);
}

/* Runs a chooser; returns the chosen file name ("" on cancel). */
std::string run_chooser(GtkFileChooserAction action, const char* title, const char* accept, bool overwrite_prompt) {
    if (main_loop_quitting()) return "";
    GtkFileChooserNative* native = g_fn.gtk_file_chooser_native_new(title, nullptr, action, accept, nullptr);
    GtkFileChooser* chooser = GTK_FILE_CHOOSER(native);
    add_filters(chooser);
    g_fn.gtk_file_chooser_set_local_only(chooser, TRUE);
    if (action == GTK_FILE_CHOOSER_ACTION_SAVE)
        g_fn.gtk_file_chooser_set_do_overwrite_confirmation(chooser, overwrite_prompt);

    OpenBox box = {nullptr, GTK_NATIVE_DIALOG(native)};
    window_set_modal(true);
    const guint pump = g_fn.g_timeout_add(APP_TICK_PERIOD_MS, keep_program_running, &box);
    const gint response = g_fn.gtk_native_dialog_run(GTK_NATIVE_DIALOG(native));
    g_fn.g_source_remove(pump);

    std::string chosen;
    if (response == GTK_RESPONSE_ACCEPT && !main_loop_quitting()) {
        gchar* name = g_fn.gtk_file_chooser_get_filename(chooser);
        if (name != nullptr) chosen = name;
        g_fn.g_free(name);
    }
    g_fn.g_object_unref(native);
    settle();
    window_set_modal(false);
    return chosen;
}

/* Asks whether an existing file may be replaced. */
bool confirm_overwrite(const std::string& path) {
    if (main_loop_quitting()) return false;
    const char* base = strrchr(path.c_str(), '/');
    base = base != nullptr ? base + 1 : path.c_str();
    gchar* shown = g_fn.g_filename_display_name(base);
    GtkWidget* ask = g_fn.gtk_message_dialog_new(
        nullptr, GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION, GTK_BUTTONS_YES_NO,
        lang_text("%s already exists.\nDo you want to replace it?", "%s 已存在。\n要替换它吗？"), shown);
    g_fn.g_free(shown);
    return run_dialog(ask) == GTK_RESPONSE_YES;
}

bool has_extension(const std::string& path) {
    const size_t slash = path.rfind('/');
    const size_t dot = path.rfind('.');
    return dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
}

bool copy_out(const std::string& path, char* out, size_t cap) {
    if (path.size() + 1 > cap) {
        dbg_log("[Error] file dialog: the chosen path is longer than %zu bytes\n", cap - 1);
        return false;
    }
    memcpy(out, path.c_str(), path.size() + 1);
    return true;
}

} // namespace

void dialog_message_box(const char* text, const char* caption, MsgBoxIcon icon) {
    if (text == nullptr || caption == nullptr) return;
    show_box(caption, icon_name(icon), text, nullptr);
}

void dialog_about_box() { show_box(APP_ABOUT_CAPTION, "dialog-information", APP_ABOUT_LINE1, APP_ABOUT_LINE2); }

bool dialog_file_open_txt(char* out, size_t cap) {
    if (out == nullptr || cap == 0 || !gtk_ready()) return false;
    out[0] = '\0';
    const std::string path =
        run_chooser(GTK_FILE_CHOOSER_ACTION_OPEN, lang_text("Open", "打开"), lang_text("_Open", "打开(_O)"), false);
    if (path.empty()) return false;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) { /* the file must exist */
        dbg_log("[Warning] file dialog: \"%s\" does not exist\n", path.c_str());
        return false;
    }
    return copy_out(path, out, cap);
}

bool dialog_file_save_txt(char* out, size_t cap, bool overwrite_prompt) {
    if (out == nullptr || cap == 0 || !gtk_ready()) return false;
    out[0] = '\0';
    std::string path = run_chooser(GTK_FILE_CHOOSER_ACTION_SAVE, lang_text("Save As", "另存为"),
                                   lang_text("_Save", "保存(_S)"), overwrite_prompt);
    if (path.empty()) return false;
    if (!has_extension(path)) {
        path += ".txt"; /* the default extension */
        struct stat st;
        if (overwrite_prompt && stat(path.c_str(), &st) == 0 && !confirm_overwrite(path)) return false;
    }
    return copy_out(path, out, cap);
}
