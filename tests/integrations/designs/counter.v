// Counts for ever, or up to 10,000 and then ends in error.
module counter;
  reg clk = 0;
  reg [31:0] count = 0;
  always #5 clk = ~clk;
  always @(posedge clk) count <= count + 1;
  initial begin
    #1000 $tracewell_flush;
    $display("flushed");
    $fflush;
    if ($test$plusargs("short")) begin
      #99000 $display("failed");
      $fatal;
    end
  end
endmodule
