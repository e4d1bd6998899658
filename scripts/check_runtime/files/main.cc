// For a program to link. It is not run.
int main() { return 0; }
