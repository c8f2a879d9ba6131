// The least that a program can cost which is linked as tcctl is: the command line's library brings the streams of the
// C++ library along, whose locales are built up at each start.
#include <iostream> // IWYU pragma: keep

int main()
{
}
