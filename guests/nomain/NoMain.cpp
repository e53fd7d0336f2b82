// NoMain.cpp - a shared library that is not a plug-in: it has no ZYNEPluginMain.
//
// Loaders must refuse it without side effects. It exports one ordinary function, so it is
// a real, loadable library and not an empty file with the right magic.
extern "C" __attribute__((visibility("default"))) int SampleNoMainAnswer() {
    return 42;
}
