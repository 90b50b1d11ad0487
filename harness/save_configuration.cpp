// Saves the configuration of the working folder as fast as it can, each time
// with another "General.generation", until it is killed.
#include "common/nyx_configurator.h"

int main()
{
    nyx::AConfigurator configurator("vos.conf", false);
    auto& generation = configurator.config.lookup("General.generation");
    while (true) {
        generation = static_cast<int>(generation) + 1;
        if (!configurator.save_configuration())
            return 1;
    }
}
