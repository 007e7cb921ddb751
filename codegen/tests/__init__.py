"""Tests of the code generator (run with unittest discover from codegen/)."""
