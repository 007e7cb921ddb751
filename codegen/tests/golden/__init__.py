"""The feature contract, the generator's expected output for it, and the script that rewrites that output."""
