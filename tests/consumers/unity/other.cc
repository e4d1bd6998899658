// A second source of the program's own.

int Other() { return 0; }
