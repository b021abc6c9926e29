// The portability toolkit: the xvt_* calls through which the program talks
// to a person (task window, menus, dialogs and windows from resources,
// controls, boxes, choosers, folders). Every call works on a backend-neutral
// model of the windows (see xvt_model.h); a backend only shows that model and
// collects what the person does. Backends: "console" (a terminal),
// "scripted" (a file of actions named by MANTREL_SCRIPT) and, where it is
// linked in, "qt". Texts are code page 1252 throughout.
//
// Handles are plain numbers. A handle of a window that has gone is simply
// unknown: every call on it does nothing and answers 0, so a handler that
// touches its window after the application was destroyed cannot crash.
#pragma once

#include <cstddef>

typedef long WINDOW;
inline constexpr WINDOW NULL_WIN = 0;
// The task window, known once xvt_app_create has made it; 0 before.
extern WINDOW TASK_WIN;

typedef unsigned long COLOR; // 0x00RRGGBB
inline constexpr COLOR COLOR_BLACK = 0x000000;
inline constexpr COLOR COLOR_WHITE = 0xFFFFFF;
inline constexpr COLOR COLOR_LTGRAY = 0xC0C0C0;
inline constexpr COLOR COLOR_GRAY = 0x808080;
inline constexpr COLOR COLOR_DKGRAY = 0x404040;

// Rectangles are in pixels at 96 to the inch. Resources give places in
// dialog units; they convert at 6/4 pixel across and 13/8 pixel down, the
// base units of the classic 8-point dialog font.
struct RCT {
  short top, left, bottom, right;
};

// ------------------------------------------------------------------ events

enum EVENT_TYPE {
  E_CREATE = 1,
  E_DESTROY,
  E_FOCUS,
  E_UPDATE,
  E_CLOSE,
  E_CHAR,
  E_COMMAND,
  E_CONTROL,
  E_QUIT,
  E_USER,
};

inline constexpr int K_ESC = 27;
inline constexpr int K_ENTER = 13;

struct EVENT {
  EVENT_TYPE type;
  struct {
    struct {
      int id;        // control number
      WINDOW win;    // the control's handle
      int dbl_click; // list boxes: a double click
    } ctl;
    struct {
      int ch;
    } chr;
    struct {
      int tag; // menu command
    } cmd;
    struct {
      long id;
      void *ptr;
    } user;
    int query;  // E_QUIT: nonzero when the toolkit only asks
    int active; // E_FOCUS
  } v;
};

typedef long (*EVENT_HANDLER)(WINDOW win, EVENT *ev);

// ------------------------------------------------------------- application

// The menu command of File Exit: what the toolkit sends the task window
// when no one is there to choose from the menu.
inline constexpr int M_FILE_EXIT = 1012;

struct XVT_CONFIG {
  int menu_bar_ID;            // menu resource of the task window
  const char *base_appl_name; // help file and the like
  const char *appl_name;
  const char *taskwin_title;
};

// Selects and starts the backend, makes the task window, sends it E_CREATE,
// then runs the event loop until xvtv_app_destroy. Answers 0.
int xvt_app_create(int argc, char **argv, unsigned long flags,
                   EVENT_HANDLER handler, const XVT_CONFIG *config);
// Ends the event loop; every window gets its E_DESTROY, the task window last.
void xvtv_app_destroy();
// Answers a quit query with yes: the application ends.
void xvt_app_allow_quit();
// Runs what waits in the event queue and what the person has done meanwhile
// (a Cancel, an Esc, a menu command), then returns.
void xvt_app_process_pending_events();
// Nonzero while the event loop of xvt_app_create runs.
int xvt_app_is_running();

// While `win` stands, the first Ctrl-C from the terminal (SIGINT) reaches it
// as the character Esc at the next pending-events call instead of killing
// the process; a second one kills as usual. Released when `win` goes.
void xvt_app_escape_on_interrupt(WINDOW win);

// Attributes. Attribute 10012 on the task window (or on NULL_WIN before it
// exists) is its start style: 0x1000 set means full size, else an icon.
inline constexpr long ATTR_TASKWIN_START_STYLE = 10012;
void xvt_vobj_set_attr(WINDOW win, long attr, long value);
long xvt_vobj_get_attr(WINDOW win, long attr);

inline constexpr int CURSOR_ARROW = 0;
inline constexpr int CURSOR_WAIT = 4;
void xvt_win_set_cursor(WINDOW win, int cursor);
void xvt_win_set_doc_title(WINDOW win, const char *title);

// ------------------------------------------------------- windows, controls

void xvt_vobj_set_title(WINDOW win, const char *title);
// Copies the title into buf (at most size-1 bytes); answers buf, or null
// when the window is unknown.
char *xvt_vobj_get_title(WINDOW win, char *buf, int size);
void xvt_vobj_set_visible(WINDOW win, bool visible);
bool xvt_vobj_is_visible(WINDOW win);
void xvt_vobj_set_enabled(WINDOW win, bool enabled);
bool xvt_vobj_is_enabled(WINDOW win);
bool xvt_vobj_is_valid(WINDOW win);
void xvt_vobj_destroy(WINDOW win);
long xvt_vobj_get_data(WINDOW win);
void xvt_vobj_set_data(WINDOW win, long data);
WINDOW xvt_vobj_get_parent(WINDOW win);
RCT *xvt_vobj_get_client_rect(WINDOW win, RCT *rct);
// A control's place in its window's client coordinates; a window's size.
RCT *xvt_vobj_get_outer_rect(WINDOW win, RCT *rct);
void xvt_scr_set_focus_vobj(WINDOW win);
WINDOW xvt_scr_get_focus_vobj();

WINDOW xvt_win_get_ctl(WINDOW win, int id);
int xvt_ctl_get_id(WINDOW ctl);
void xvt_ctl_set_checked(WINDOW ctl, bool checked);
bool xvt_ctl_is_checked(WINDOW ctl);

// Calls the window's handler now.
void xvt_win_dispatch_event(WINDOW win, EVENT *ev);
// Queues the event; it is handled by the event loop or the next
// xvt_app_process_pending_events.
void xvt_win_post_event(WINDOW win, const EVENT *ev);

// --------------------------------------------------------------- resources

enum XVT_CTL_KIND {
  WC_PUSHBUTTON = 1,
  WC_RADIOBUTTON,
  WC_CHECKBOX,
  WC_TEXT,       // static text
  WC_EDIT,       // one line of text
  WC_LBOX,       // list box
  WC_LISTBUTTON, // drop-down list
  WC_LISTEDIT,   // drop-down with a text field
  WC_GROUPBOX,
};

// Control flags of a resource.
inline constexpr unsigned CTL_FLAG_DEFAULT = 0x01; // the Enter button
inline constexpr unsigned CTL_FLAG_DISABLED = 0x02;
inline constexpr unsigned CTL_FLAG_INVISIBLE = 0x04;
inline constexpr unsigned CTL_FLAG_MULTIPLE = 0x08; // several rows selected
inline constexpr unsigned CTL_FLAG_CHECKED = 0x10;

struct XVT_CTL_RES {
  int id;
  XVT_CTL_KIND kind;
  short x, y, w, h; // dialog units
  const char *text;
  unsigned flags;
};

// Kinds of xvt_dlg_create_res.
inline constexpr int WD_MODAL = 10;
inline constexpr int WD_MODELESS = 11;
// Window flags of a resource.
inline constexpr unsigned WIN_FLAG_INVISIBLE = 0x01;

struct XVT_WIN_RES {
  int id;
  short x, y, w, h; // dialog units
  const char *title;
  const XVT_CTL_RES *ctls;
  int nctls;
  unsigned flags;
};

// Registers a template; the toolkit keeps its own copy, so the caller's may
// go. A second registration of the same id replaces the first. Answers 0, or
// 1 when the template is unusable (no id, a negative count, two controls
// with one number).
int xvt_res_register_dialog(const XVT_WIN_RES *res);
int xvt_res_register_window(const XVT_WIN_RES *res);

// kind WD_MODAL returns when the dialog has gone, WD_MODELESS at once.
// Answers the dialog's handle, 0 when the resource is unknown.
WINDOW xvt_dlg_create_res(int kind, int rid, long mask, EVENT_HANDLER handler,
                          long app_data);
WINDOW xvt_win_create_res(int rid, WINDOW parent, long mask,
                          EVENT_HANDLER handler, long app_data);

// -------------------------------------------------------------- list boxes
// On list boxes and drop-downs. Rows count from 0.

void xvt_list_clear(WINDOW ctl);
void xvt_list_suspend(WINDOW ctl); // no redisplay until resume
void xvt_list_resume(WINDOW ctl);
// index -1 appends. Answers false on an unknown control or a bad index.
bool xvt_list_add(WINDOW ctl, int index, const char *text);
bool xvt_list_rem(WINDOW ctl, int index);
// In a list of one selection, selecting a row unselects the others.
void xvt_list_set_sel(WINDOW ctl, int index, bool select);
void xvt_list_set_all_sel(WINDOW ctl, bool select);
bool xvt_list_is_sel(WINDOW ctl, int index);
// The first selected row, -1 when none.
int xvt_list_get_sel_index(WINDOW ctl);
int xvt_list_count_sel(WINDOW ctl);
char *xvt_list_get_elt(WINDOW ctl, int index, char *buf, int size);
int xvt_list_count(WINDOW ctl);

// ------------------------------------------------------------------- menus

// A menu tree is an array of items closed by an item whose tag is 0 and
// which is no separator; `child` is such an array or null. Texts mark the
// mnemonic with "~" and are allocated with malloc: a tree from
// xvt_menu_get_tree belongs to the caller, who frees it with
// xvt_res_free_menu_tree (which frees the texts too).
struct MENU_ITEM {
  int tag;
  char *text;
  short mkey;
  bool enabled;
  bool checked;
  bool separator;
  MENU_ITEM *child;
};

inline constexpr unsigned MENU_FLAG_DISABLED = 0x01;
inline constexpr unsigned MENU_FLAG_SEPARATOR = 0x02;
inline constexpr unsigned MENU_FLAG_CHECKED = 0x04;

// The resource form of a menu tree, closed the same way.
struct MENU_RES {
  int tag;
  const char *text;
  unsigned flags;
  const MENU_RES *child;
};

int xvt_res_register_menu(int rid, const MENU_RES *tree);
MENU_ITEM *xvt_menu_get_tree(WINDOW win);
void xvt_menu_set_tree(WINDOW win, const MENU_ITEM *tree);
void xvt_res_free_menu_tree(MENU_ITEM *tree);
void xvt_menu_set_item_enabled(WINDOW win, int tag, bool enabled);
void xvt_menu_update(WINDOW win);

// ------------------------------------------------------------------- boxes
// All format by printf rules. Each is also written to standard error as one
// line: "note: ...", "error: ...", "ask: ...", "fatal: ...".

void xvt_dm_post_note(const char *fmt, ...)
    __attribute__((format(printf, 1, 2)));
void xvt_dm_post_error(const char *fmt, ...)
    __attribute__((format(printf, 1, 2)));
// Shows the text, runs XvtFatalHook (the program's ordered cleanup) and
// ends the process with exit status 1.
[[noreturn]] void xvt_dm_post_fatal_exit(const char *fmt, ...)
    __attribute__((format(printf, 1, 2)));
extern void (*XvtFatalHook)();
// Called whenever a window of the program takes the focus (a window comes to
// the front, or the one above it goes). The program puts its current folder
// back there, since choosers move it and every default path is relative.
extern void (*XvtFocusHook)(WINDOW win);
// The light look of the configuration (LookLight): dialogs take the small
// face. The start sequence sets it after the configuration is read.
extern int XvtLookLight;
// Answers the number of the button pressed, 1 to 3; b3 may be null.
int xvt_dm_post_ask(const char *b1, const char *b2, const char *b3,
                    const char *fmt, ...) __attribute__((format(printf, 4, 5)));
// Edits `response` (its text is what Enter accepts). Answers response on OK,
// null on Cancel.
char *xvt_dm_post_string_prompt(const char *prompt, char *response, int size);
// A plain message box with one OK button; its text also goes to standard
// output, so that "/?" can be read with no window.
void xvt_dm_post_message(const char *caption, const char *text);

// ------------------------------------------------------------ file system

// A folder: an absolute path of this machine.
struct DIRECTORY {
  char path[1024];
};
struct FILE_SPEC {
  DIRECTORY dir;
  char type[8]; // extension without the point; "" or "*" for any
  char name[256];
};

enum FL_STATUS { FL_BAD = 0, FL_CANCEL = 1, FL_OK = 2 };

// Choosers start in fs->dir (the current folder when empty). On FL_OK the
// folder and name of the file chosen are in fs.
FL_STATUS xvt_dm_post_file_open(FILE_SPEC *fs, const char *msg);
FL_STATUS xvt_dm_post_file_save(FILE_SPEC *fs, const char *msg);
// On FL_OK the folder chosen is in path, in text form (see below).
FL_STATUS xvt_dm_post_folder(const char *msg, char *path, int size);

// The text form of a folder is the absolute path with backslashes
// ("\work\demo\bin"), as stored paths have them; it goes back through
// PlatRealPath.
bool xvt_fsys_convert_dir_to_str(const DIRECTORY *dir, char *path, int size);
bool xvt_fsys_convert_str_to_dir(const char *path, DIRECTORY *dir);
bool xvt_fsys_get_dir(DIRECTORY *dir);
bool xvt_fsys_get_default_dir(DIRECTORY *dir);
bool xvt_fsys_set_dir(const DIRECTORY *dir);
void xvt_fsys_save_dir();
void xvt_fsys_restore_dir();
// Back to the folder that was current when the toolkit first ran.
void xvt_fsys_set_dir_startup();

// ----------------------------------------------------------------- drawing
// Drawing goes into the window's canvas model (a list of filled
// rectangles), which backends show in their way.

void xvt_dwin_clear(WINDOW win, COLOR color);
void xvt_dwin_set_fill_color(WINDOW win, COLOR color);
void xvt_dwin_draw_rect(WINDOW win, const RCT *rct);
// Asks for an E_UPDATE of the window.
void xvt_dwin_invalidate_rect(WINDOW win, const RCT *rct);

// -------------------------------------------------------- start-up picture

// Shows an image file (a real path) centred on the screen in a plain window,
// with up to four lines of text under it, until xvt_picture_hide, a key Esc
// or a click in it. Answers 1 when it is shown; 0 when the file cannot be
// read or the backend shows no pictures (console, scripted), which is no
// failure.
int xvt_picture_show(const char *path, const char *const *lines, int nlines);
void xvt_picture_hide();
