// A counter and its Gray code.
module counter (input clk, input reset, output reg [7:0] count, output [7:0] gray);
  reg wrapped;

  assign gray = count ^ (count >> 1);

  always @(posedge clk) begin
    if (reset) begin
      count <= 8'd0;
      wrapped <= 1'b0;
    end else begin
      count <= count + 8'd1;
      wrapped <= count == 8'hff;
    end
  end
endmodule
