// The limit of every start-up time: a program that does nothing.

int main() { return 0; }
