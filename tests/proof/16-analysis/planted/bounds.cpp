// cppcheck: one element too far.
int Last()
{
    int numbers[4] = {1, 2, 3, 4};
    return numbers[4];
}
