// HostGtkWindows.cpp - windows on screen and graphics: the host's "Graphics" class, a real
// GTK 2 window behind a host "Window", and their services ("ZYNEGetWindowHandle",
// "RuntimeGraphicsDrawLine", "ZYNEGraphicsGdkDrawable").
//
// A Graphics object draws on a canvas of 0xRRGGBB pixels that the host keeps in memory,
// so that drawing can be checked in any build, and, when a display is open, on a GdkPixmap
// of the same size with the same colours, which a test can photograph. It has one
// property, "ForeColor" (a colour word, what the next drawing uses), and the methods
// "FillRect" and "DrawRect", reached as a plug-in reaches methods: "ZYNELoadObjectMethod".
// Lines include both end points, rectangles their left and top edges but not the right and
// bottom ones, as GDK draws them.
//
// GTK is linked only where the build has it (ZYNE_HOST_GTK); without it, or without a
// display (DISPLAY unset, or gtk_init_check failing), windows stay plain objects and
// graphics draw on their canvas only. No main loop runs: the host never waits for events.
//
//   Graphics data:
//   OFFSET     SIZE     FIELD      MEANING
//   6 words    1 word   foreColor  "ForeColor", 0x00RRGGBB
//   7 words    1 word   canvas     the host's Canvas (pixels, pixmap), freed with the object
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "HostState.h"

#if defined(ZYNE_HOST_GTK)
#include <gtk/gtk.h>
#endif

namespace zyne::host {

namespace {

struct Canvas {
    long width = 0;
    long height = 0;
    std::vector<unsigned long> pixels;  // 0xRRGGBB, top row first
#if defined(ZYNE_HOST_GTK)
    GdkPixmap* pixmap = nullptr;
    GdkGC* gc = nullptr;
#endif
};

struct GraphicsData {
    long foreColor;
    Canvas* canvas;
};

// A host Window's GTK backing: the toplevel and the vertical box inside it.
struct GtkBacking {
    void* window = nullptr;  // GtkWidget*
    void* box = nullptr;     // GtkWidget*, a GtkVBox, child of window
};

void DestroyGraphics(ZYNEobject self);
void FillRect(ZYNEobject self, long x, long y, long width, long height);
void DrawRect(ZYNEobject self, long x, long y, long width, long height);

ZYNEmethodDefinition gGraphicsMethods[] = {
    {reinterpret_cast<void*>(&FillRect), nullptr,
     "FillRect( x as Integer, y as Integer, width as Integer, height as Integer )", 0},
    {reinterpret_cast<void*>(&DrawRect), nullptr,
     "DrawRect( x as Integer, y as Integer, width as Integer, height as Integer )", 0},
};

ZYNEproperty gGraphicsProperties[] = {
    {.group = "",
     .name = "ForeColor",
     .type = "Color",
     .flags = 0,
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = 0,
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
};

ZYNEclassDefinition MakeGraphicsClass() {
    ZYNEclassDefinition record = detail::HostClassRecord(
        "Graphics", sizeof(GraphicsData), &DestroyGraphics, gGraphicsMethods,
        static_cast<long>(sizeof gGraphicsMethods / sizeof gGraphicsMethods[0]));
    record.properties = gGraphicsProperties;
    record.propertyCount = 1;
    return record;
}

ZYNEclassDefinition gGraphicsClass = MakeGraphicsClass();

GraphicsData* GraphicsOf(detail::HostState& state, ZYNEobject object) {
    const ClassInfo* info = state.ClassInfoOf(object);
    if (info == nullptr || info->record != &gGraphicsClass) return nullptr;
    return reinterpret_cast<GraphicsData*>(reinterpret_cast<char*>(object) +
                                           gGraphicsClass.dataOffset);
}

void DestroyGraphics(ZYNEobject self) {
    auto* data = reinterpret_cast<GraphicsData*>(reinterpret_cast<char*>(self) +
                                                 gGraphicsClass.dataOffset);
    Canvas* canvas = data->canvas;
    data->canvas = nullptr;
    if (canvas == nullptr) return;
#if defined(ZYNE_HOST_GTK)
    if (canvas->gc != nullptr) g_object_unref(canvas->gc);
    if (canvas->pixmap != nullptr) g_object_unref(canvas->pixmap);
#endif
    delete canvas;
}

void PutPixel(Canvas& canvas, long x, long y, unsigned long color) {
    if (x < 0 || y < 0 || x >= canvas.width || y >= canvas.height) return;
    canvas.pixels[static_cast<size_t>(y * canvas.width + x)] = color & 0xFFFFFF;
}

#if defined(ZYNE_HOST_GTK)
// The GC drawing in `color` from now on; null without a pixmap.
GdkGC* PenFor(Canvas& canvas, unsigned long color) {
    if (canvas.gc == nullptr) return nullptr;
    GdkColor rgb = {0, static_cast<guint16>(((color >> 16) & 0xFF) * 257),
                    static_cast<guint16>(((color >> 8) & 0xFF) * 257),
                    static_cast<guint16>((color & 0xFF) * 257)};
    gdk_gc_set_rgb_fg_color(canvas.gc, &rgb);
    return canvas.gc;
}
#endif

void Fill(Canvas& canvas, long x, long y, long width, long height, unsigned long color) {
    for (long row = y; row < y + height; ++row) {
        for (long column = x; column < x + width; ++column) PutPixel(canvas, column, row, color);
    }
#if defined(ZYNE_HOST_GTK)
    if (GdkGC* gc = PenFor(canvas, color); gc != nullptr && width > 0 && height > 0)
        gdk_draw_rectangle(canvas.pixmap, gc, TRUE, static_cast<gint>(x), static_cast<gint>(y),
                           static_cast<gint>(width), static_cast<gint>(height));
#endif
}

// Both end points included; steps along the longer axis.
void Line(Canvas& canvas, long x1, long y1, long x2, long y2, unsigned long color) {
    const long dx = x2 - x1, dy = y2 - y1;
    const long steps = std::max(std::labs(dx), std::labs(dy));
    for (long i = 0; i <= steps; ++i) {
        const long x = steps == 0 ? x1 : x1 + (dx * i + (dx >= 0 ? steps : -steps) / 2) / steps;
        const long y = steps == 0 ? y1 : y1 + (dy * i + (dy >= 0 ? steps : -steps) / 2) / steps;
        PutPixel(canvas, x, y, color);
    }
#if defined(ZYNE_HOST_GTK)
    if (GdkGC* gc = PenFor(canvas, color))
        gdk_draw_line(canvas.pixmap, gc, static_cast<gint>(x1), static_cast<gint>(y1),
                      static_cast<gint>(x2), static_cast<gint>(y2));
#endif
}

void FillRect(ZYNEobject self, long x, long y, long width, long height) {
    detail::HostState& state = detail::CurrentState();
    state.Called("FillRect", self, x, y, width, height);
    if (GraphicsData* data = GraphicsOf(state, self); data != nullptr && data->canvas != nullptr)
        Fill(*data->canvas, x, y, width, height, static_cast<unsigned long>(data->foreColor));
}

// The outline: the outermost pixels of the rectangle.
void DrawRect(ZYNEobject self, long x, long y, long width, long height) {
    detail::HostState& state = detail::CurrentState();
    state.Called("DrawRect", self, x, y, width, height);
    GraphicsData* data = GraphicsOf(state, self);
    if (data == nullptr || data->canvas == nullptr || width <= 0 || height <= 0) return;
    const auto color = static_cast<unsigned long>(data->foreColor);
    Canvas& canvas = *data->canvas;
    const long right = x + width - 1, bottom = y + height - 1;
    Line(canvas, x, y, right, y, color);
    Line(canvas, right, y, right, bottom, color);
    Line(canvas, right, bottom, x, bottom, color);
    Line(canvas, x, bottom, x, y, color);
}

// ----- Services -------------------------------------------------------------------------

void GraphicsDrawLineService(ZYNEobject graphics, int x1, int y1, int x2, int y2) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeGraphicsDrawLine", graphics, x1, y1, x2, y2);
    GraphicsData* data = GraphicsOf(state, graphics);
    if (data == nullptr || data->canvas == nullptr) {
        if (graphics != nullptr) state.Fault("RuntimeGraphicsDrawLine on no Graphics object");
        return;
    }
    Line(*data->canvas, x1, y1, x2, y2, static_cast<unsigned long>(data->foreColor));
}

void* GraphicsGdkDrawable(ZYNEobject graphics) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEGraphicsGdkDrawable", graphics);
#if defined(ZYNE_HOST_GTK)
    GraphicsData* data = GraphicsOf(state, graphics);
    if (data != nullptr && data->canvas != nullptr) return data->canvas->pixmap;
#endif
    return nullptr;
}

const GtkBacking* BackingOf(detail::HostState& state, ZYNEobject window) {
    if (state.ClassInfoOf(window) == nullptr) return nullptr;
    const auto found = state.gtkWindows.find(window);
    return found != state.gtkWindows.end() ? static_cast<const GtkBacking*>(found->second.get())
                                           : nullptr;
}

void* WindowHandle(ZYNEobject window) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEGetWindowHandle", window);
    const GtkBacking* backing = BackingOf(state, window);
    return backing != nullptr ? backing->window : nullptr;
}

const detail::ServiceRow kGtkWindowServices[] = {
    {"ZYNEGetWindowHandle", reinterpret_cast<void*>(&WindowHandle)},
    {"RuntimeGraphicsDrawLine", reinterpret_cast<void*>(&GraphicsDrawLineService)},
    {"ZYNEGraphicsGdkDrawable", reinterpret_cast<void*>(&GraphicsGdkDrawable)},
};

}  // namespace

std::span<const detail::ServiceRow> detail::GtkWindowServices() {
    return kGtkWindowServices;
}

bool ReferenceHost::DisplayAvailable() {
#if defined(ZYNE_HOST_GTK)
    // Asked once per process: GTK cannot be initialised twice, nor closed.
    static const bool available = [] {
        const char* display = std::getenv("DISPLAY");
        if (display == nullptr || *display == '\0') return false;
        return gtk_init_check(nullptr, nullptr) != FALSE;
    }();
    return available;
#else
    return false;
#endif
}

bool ReferenceHost::ShowWindow(ZYNEobject window, long width, long height) {
#if defined(ZYNE_HOST_GTK)
    if (!DisplayAvailable() || state_->ClassInfoOf(window) == nullptr ||
        state_->gtkWindows.contains(window) || width <= 0 || height <= 0)
        return false;
    GtkWidget* toplevel = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    GtkWidget* box = gtk_vbox_new(FALSE, 0);
    gtk_container_add(GTK_CONTAINER(toplevel), box);
    gtk_window_set_default_size(GTK_WINDOW(toplevel), static_cast<gint>(width),
                                static_cast<gint>(height));
    gtk_widget_show_all(toplevel);
    auto backing = std::shared_ptr<GtkBacking>(new GtkBacking{toplevel, box}, [](GtkBacking* b) {
        gtk_widget_destroy(static_cast<GtkWidget*>(b->window));
        delete b;
    });
    state_->gtkWindows[window] = std::move(backing);
    return true;
#else
    (void)window;
    (void)width;
    (void)height;
    return false;
#endif
}

void* ReferenceHost::WindowWidget(ZYNEobject window) const {
    const GtkBacking* backing = BackingOf(*state_, window);
    return backing != nullptr ? backing->window : nullptr;
}

void* ReferenceHost::WindowBox(ZYNEobject window) const {
    const GtkBacking* backing = BackingOf(*state_, window);
    return backing != nullptr ? backing->box : nullptr;
}

ZYNEobject ReferenceHost::NewGraphics(long width, long height) {
    if (width <= 0 || height <= 0) return nullptr;
    const ClassInfo* info = state_->HostClassOf(&gGraphicsClass);
    if (info == nullptr) info = state_->AddHostClass(&gGraphicsClass);
    ZYNEobject object = state_->NewObject(info);
    GraphicsData* data = GraphicsOf(*state_, object);
    if (data == nullptr) return object;
    auto canvas = std::make_unique<Canvas>();
    canvas->width = width;
    canvas->height = height;
    canvas->pixels.assign(static_cast<size_t>(width * height), 0xFFFFFF);
#if defined(ZYNE_HOST_GTK)
    if (DisplayAvailable()) {
        canvas->pixmap = gdk_pixmap_new(gdk_get_default_root_window(), static_cast<gint>(width),
                                        static_cast<gint>(height), -1);
        if (canvas->pixmap != nullptr) canvas->gc = gdk_gc_new(canvas->pixmap);
    }
#endif
    data->foreColor = 0xFFFFFF;
    Fill(*canvas, 0, 0, width, height, 0xFFFFFF);  // white, as a new picture's graphics
    data->foreColor = 0;
    data->canvas = canvas.release();
    return object;
}

std::optional<unsigned long> ReferenceHost::CanvasPixel(ZYNEobject graphics, long x,
                                                        long y) const {
    const GraphicsData* data = GraphicsOf(*state_, graphics);
    if (data == nullptr || data->canvas == nullptr) return std::nullopt;
    const Canvas& canvas = *data->canvas;
    if (x < 0 || y < 0 || x >= canvas.width || y >= canvas.height) return std::nullopt;
    return canvas.pixels[static_cast<size_t>(y * canvas.width + x)];
}

std::optional<HostPicture> ReferenceHost::Screenshot(ZYNEobject graphics) const {
#if defined(ZYNE_HOST_GTK)
    const GraphicsData* data = GraphicsOf(*state_, graphics);
    if (data == nullptr || data->canvas == nullptr || data->canvas->pixmap == nullptr)
        return std::nullopt;
    const Canvas& canvas = *data->canvas;
    gdk_flush();
    GdkPixbuf* shot = gdk_pixbuf_get_from_drawable(
        nullptr, canvas.pixmap, nullptr, 0, 0, 0, 0, static_cast<int>(canvas.width),
        static_cast<int>(canvas.height));
    if (shot == nullptr) return std::nullopt;
    HostPicture picture;
    picture.width = gdk_pixbuf_get_width(shot);
    picture.height = gdk_pixbuf_get_height(shot);
    const int channels = gdk_pixbuf_get_n_channels(shot);
    const int stride = gdk_pixbuf_get_rowstride(shot);
    const guchar* pixels = gdk_pixbuf_get_pixels(shot);
    picture.rgba.reserve(static_cast<size_t>(picture.width * picture.height * 4));
    for (long y = 0; y < picture.height; ++y) {
        for (long x = 0; x < picture.width; ++x) {
            const guchar* p = pixels + y * stride + x * channels;
            picture.rgba.insert(picture.rgba.end(),
                                {p[0], p[1], p[2], channels == 4 ? p[3] : guchar{255}});
        }
    }
    g_object_unref(shot);
    return picture;
#else
    (void)graphics;
    return std::nullopt;
#endif
}

}  // namespace zyne::host
