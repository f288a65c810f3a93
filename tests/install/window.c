#include "tkplatform.h"

int windowWorks(void);

int windowWorks(void) {
    HWND window = tkCreateWindow();
    bool opened = tkWindowFd(window) >= 0;
    tkDestroyWindow(window);
    return opened && tkWindowFd(window) == -1;
}
