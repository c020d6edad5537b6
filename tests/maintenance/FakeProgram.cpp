// Stands in for a new version of the program in the updater's tests: it notes
// that it was started in the file named by FAKE_PROGRAM_MARKER.
#include <cstdio>
#include <cstdlib>

int main()
{
    if (const char* marker = std::getenv("FAKE_PROGRAM_MARKER")) {
        if (std::FILE* file = std::fopen(marker, "a")) {
            std::fputs("started\n", file);
            std::fclose(file);
        }
    }
    return 0;
}
