/* LoaderNoMain.c - a shared library with no ZYNEPluginMain, for the loader tests. */
__attribute__((visibility("default"))) int LoaderNoMainAnswer(void) {
    return 42;
}
