/// A broken plug-in: a sound library, but it connects nothing to the environment.
int nothingToOffer()
{
    return 0;
}
