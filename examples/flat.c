/* Drives a generator through the flat functions: hears of changes as messages, sets the tube
 * voltage, and takes the error that comes with a voltage that is too high.
 *
 *     flat DEVICE
 */
#include <toolkit.h>

#include <stdio.h>

enum {
    KV = TOOLKIT_COMMAND2('K', 'V'),
    ER = TOOLKIT_COMMAND2('E', 'R'),
    PATIENCE = 10000 /* ms */
};

/* Shows what is posted, up to a message of this kind. Its value, or -1 when none came or the link
 * is lost. */
static long await(HWND window, unsigned long wanted) {
    TkWindowMessage message;
    while (tkGetMessage(window, &message, PATIENCE)) {
        if (message.wParam == TOOLKIT_LOST) {
            puts("connection lost");
            return -1;
        }
        if (message.wParam == TOOLKIT_BACK) {
            puts("connected");
        } else if (message.wParam == KV) {
            printf("tube voltage %ld kV\n", message.lParam);
        }
        if (message.wParam == wanted) {
            return message.lParam;
        }
    }
    return -1;
}

/* One visit at the generator. Whether all went as it should. */
static bool drive(HWND window) {
    enableEvents(window);
    enableRefresh(true);
    if (await(window, TOOLKIT_BACK) < 0 || !transmitMsg(KV, 75, true) || getGenParam(KV) != 75) {
        return false;
    }
    if (!transmitMsg(KV, 200, true) || await(window, ER) < 0) {
        return false;
    }
    for (int error = getError(); error != 0; error = getError()) {
        printf("error %d\n", error);
    }
    printf("tube voltage %d kV, %s be changed\n", getGenParam(KV),
           controllableParam(KV) ? "may" : "mustn't");
    return true;
}

int main(int argc, char **argv) {
    if (argc != 2 || !tkMapSerialPort("COM1", argv[1])) {
        fprintf(stderr, "use: flat DEVICE\n");
        return 2;
    }
    if (!initializeToolkit(TOOLKIT_COM1)) {
        fprintf(stderr, "can't open %s\n", argv[1]);
        return 1;
    }
    HWND window = tkCreateWindow();
    bool done = window != NULL && drive(window);
    closeToolkit();
    tkDestroyWindow(window);
    return done ? 0 : 1;
}
