// Runs a command while there is a PostgreSQL for it, whose address is in KIVOLO_TEST_POSTGRES.
//
//   kivolo-with-postgres COMMAND [ARGUMENT...]
#include "postgres.h"

#include <cstdlib>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

int main(int, char **argv)
{
    try {
        const kivolo::Postgres postgres;
        const pid_t child = fork();
        if (child == 0) {
            // NOLINTNEXTLINE(concurrency-mt-unsafe): of one thread
            setenv("KIVOLO_TEST_POSTGRES", postgres.address().c_str(), 1);
            execvp(argv[1], argv + 1);
            _exit(127);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    } catch (const std::exception &error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}
