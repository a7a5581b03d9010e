#include "Platform.h"
#include "RunApplication.h"
#include "UioBus.h"

int main(int argc, char* argv[]) {
    fsi::UioBus bus;
    return RunApplication(argc, argv, Platform{bus, "", nullptr});
}
