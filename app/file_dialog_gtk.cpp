/**
 * File dialogs on Linux: GTK 3's native file chooser (GtkFileChooserNative).
 *
 * Implements params/file_dialog.h (open and save of the parameter text files):
 *  - GTK is initialised on first use only, so start-up pays nothing for it;
 *  - filters "Text Files (*.txt)" and "All Files (*.*)", the first selected;
 *  - save: ".txt" added to a name typed without an extension, the overwrite question on request
 *    (also for the name with the added extension);
 *  - while a dialog is open, the main window keeps painting: a GTK timeout pumps SDL's window
 *    events and repaints on exposure; clicks and keys given to the main window meanwhile are
 *    dropped, as a modal dialog's owner would ignore them.
 *
 * NOTE: GTK's initialisation sets the process locale from the environment; LC_NUMERIC is put
 * back to "C" so that number formatting stays the same everywhere in the program.
 */
#include "app/file_dialog_gtk.h"

#include "app/window.h"
#include "common/debug_log.h"
#include "common/lang.h"

#include <SDL.h>
#include <gtk/gtk.h>

#include <clocale>
#include <cstring>
#include <string>
#include <sys/stat.h>

namespace {

constexpr guint PUMP_PERIOD_MS = 16;

struct GtkDialogState {
    bool tried = false;
    bool ready = false;
};
GtkDialogState g_gtk;

bool gtk_ready() {
    if (g_gtk.tried) return g_gtk.ready;
    g_gtk.tried = true;
    int argc = 0;
    char** argv = nullptr;
    g_gtk.ready = gtk_init_check(&argc, &argv) != FALSE;
    setlocale(LC_NUMERIC, "C");
    if (!g_gtk.ready) dbg_log("[Error] file dialog: GTK could not be initialised (no display?)\n");
    return g_gtk.ready;
}

/* Repaints the main window on exposure while GTK's loop runs the dialog. */
gboolean pump_main_window(gpointer) {
    SDL_PumpEvents();
    SDL_Event ev;
    bool exposed = false;
    while (SDL_PeepEvents(&ev, 1, SDL_GETEVENT, SDL_WINDOWEVENT, SDL_WINDOWEVENT) > 0)
        if (ev.window.event == SDL_WINDOWEVENT_EXPOSED) exposed = true;
    if (exposed) window_present(0, 0, WINDOW_CLIENT_WIDTH - 1, WINDOW_CLIENT_HEIGHT - 1);
    return G_SOURCE_CONTINUE;
}

void add_filters(GtkFileChooser* chooser) {
    GtkFileFilter* text = gtk_file_filter_new();
    gtk_file_filter_set_name(text, "Text Files (*.txt)");
    gtk_file_filter_add_pattern(text, "*.[tT][xX][tT]"); /* "*.txt" in any letter case */
    gtk_file_chooser_add_filter(chooser, text);
    GtkFileFilter* all = gtk_file_filter_new();
    gtk_file_filter_set_name(all, "All Files (*.*)");
    gtk_file_filter_add_pattern(all, "*");
    gtk_file_chooser_add_filter(chooser, all);
    gtk_file_chooser_set_filter(chooser, text);
}

/* Lets GTK finish unmapping the dialog, then drops input the main window got meanwhile. */
void settle_after_dialog() {
    while (gtk_events_pending())
        gtk_main_iteration_do(FALSE);
    SDL_PumpEvents();
    SDL_FlushEvents(SDL_KEYDOWN, SDL_MOUSEWHEEL);
}

/* Runs a chooser; returns the chosen file name ("" on cancel). */
std::string run_chooser(GtkFileChooserAction action, const char* title, const char* accept, bool overwrite_prompt) {
    GtkFileChooserNative* native = gtk_file_chooser_native_new(title, nullptr, action, accept, nullptr);
    GtkFileChooser* chooser = GTK_FILE_CHOOSER(native);
    add_filters(chooser);
    gtk_file_chooser_set_local_only(chooser, TRUE);
    if (action == GTK_FILE_CHOOSER_ACTION_SAVE)
        gtk_file_chooser_set_do_overwrite_confirmation(chooser, overwrite_prompt);

    const guint pump = g_timeout_add(PUMP_PERIOD_MS, pump_main_window, nullptr);
    const gint response = gtk_native_dialog_run(GTK_NATIVE_DIALOG(native));
    g_source_remove(pump);

    std::string chosen;
    if (response == GTK_RESPONSE_ACCEPT) {
        gchar* name = gtk_file_chooser_get_filename(chooser);
        if (name != nullptr) chosen = name;
        g_free(name);
    }
    g_object_unref(native);
    settle_after_dialog();
    return chosen;
}

/* Asks whether an existing file may be replaced. */
bool confirm_overwrite(const std::string& path) {
    const char* base = strrchr(path.c_str(), '/');
    base = base != nullptr ? base + 1 : path.c_str();
    gchar* shown = g_filename_display_name(base);
    GtkWidget* ask = gtk_message_dialog_new(
        nullptr, GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION, GTK_BUTTONS_YES_NO,
        lang_text("%s already exists.\nDo you want to replace it?", "%s 已存在。\n要替换它吗？"), shown);
    g_free(shown);
    const guint pump = g_timeout_add(PUMP_PERIOD_MS, pump_main_window, nullptr);
    const gint response = gtk_dialog_run(GTK_DIALOG(ask));
    g_source_remove(pump);
    gtk_widget_destroy(ask);
    settle_after_dialog();
    return response == GTK_RESPONSE_YES;
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

bool gtk_file_dialog_open_txt(char* out, size_t cap) {
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

bool gtk_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt) {
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
