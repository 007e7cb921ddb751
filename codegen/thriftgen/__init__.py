"""thriftgen: the code generator of libthriftyol.

Pipeline: parser (IDL text -> Program) -> lowering (calls -> envelope
records, fingerprints) -> emitters (one per generated artifact).
"""
